#include "commands.h"
#include "names.h"
#include "selector.h"

#include <cstdio>

namespace
{

void run(const Selector &selector)
{
    const Profile profile = selector.fetch();
    char *name = nullptr;
    const uint64_t rc = inst_ldpath_get_swprofile_image(profile.get(), &name);
    if (rc == INST_RC_NO_MEMORY) {
        throw failure_of(rc, "can't tell the image", ErrorText());
    }
    if (name == nullptr) {
        throw Failure(INVALID_DATA, "the " + selector.describe() + " names no image");
    }
    std::printf("%s\n", shown(name).c_str());
    std::free(name);
}

} // namespace

void add_image(CLI::App &command)
{
    const auto selector = std::make_shared<Selector>();
    CLI::App *const image = command.add_subcommand("image", "Print the name of a profile's image");
    add_selector_options(*image, *selector);
    image->footer("Example:\n"
                  "  swprofile image --state prepared");
    image->callback([selector] { run(*selector); });
}
