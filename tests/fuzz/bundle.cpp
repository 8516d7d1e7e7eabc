// Reads mutated lists of a bundle's members. Every file must be below the work directory.
#include "instcomm/bundle.cpp"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    Bundle bundle = {"bundle", "/work", 16};
    FILE *const list = size == 0 ? nullptr : fmemopen(const_cast<unsigned char *>(data), size, "r");
    if (list != nullptr && bundle.read_members(list) == 0) {
        for (uint32_t i = 0; i < bundle.count; ++i) {
            const std::string_view file = bundle.files[i];
            if (file.find("/work/") != 0 || file.find("/../") != file.npos || !is_rpm(file)) {
                std::abort();
            }
        }
    }
    if (list != nullptr) {
        std::fclose(list);
    }
    inst_free_string_list(bundle.count, bundle.files);
    return 0;
}
