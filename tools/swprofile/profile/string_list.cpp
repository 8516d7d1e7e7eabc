#include "profile/string_list.h"

#include "profile/names.h"

#include <cstdio>

void print_list(const StringList &list, const char *key, bool is_json)
{
    if (is_json) {
        Json texts = Json::array();
        for (uint32_t i = 0; i < list.count; ++i) {
            texts.push_back(text_json(list.list[i]));
        }
        print_json({{key, texts}});
        return;
    }
    for (uint32_t i = 0; i < list.count; ++i) {
        std::printf("%s\n", shown(list.list[i]).c_str());
    }
}
