#include "commands.h"
#include "selector.h"

#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    bool is_twin = false;
};

void run(const Options &options)
{
    std::string path = options.selector.path();
    if (options.is_twin) {
        char *text = nullptr;
        ErrorText error;
        const uint64_t rc = inst_get_sdr_swprofile_txt_file(path.c_str(), &text, error.slot());
        if (rc != 0) {
            throw failure_of(rc, "can't name the text twin of " + path, error);
        }
        path = text;
        std::free(text);
    }
    std::printf("%s\n", path.c_str());
}

} // namespace

void add_path(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const path = command.add_subcommand("path", "Print where a profile's file is, whether it exists or not");
    add_selector_options(*path, options->selector);
    path->add_flag("--text", options->is_twin, "the path of the readable twin");
    path->footer("Examples:\n"
                 "  swprofile path --state prepared\n"
                 "  swprofile path --vm admin --local --text");
    path->callback([options] { run(*options); });
}
