#include "subcommands/places.h"

#include "profile/options.h"
#include "profile/repository.h"

#include <algorithm>

void PlaceFilter::add_options(CLI::App &command)
{
    app = &command;
    add_selector_options(command, wanted);
}

bool PlaceFilter::is_restricted() const
{
    constexpr const char *FLAGS[] = {"--sdr", "--vm", "--state", "--local", "--global"};
    return std::ranges::any_of(FLAGS, [this](const char *flag) { return is_given(*app, flag); });
}

std::vector<Selector> PlaceFilter::places() const
{
    const bool has_scope = is_given(*app, "--local") || is_given(*app, "--global");
    std::vector<Selector> places = all_places([](const std::filesystem::path &) {});
    std::erase_if(places, [&](const Selector &place) {
        Selector global = wanted;
        global.is_local = false;
        const bool is_type = place.vm_type == wanted.vm_type || (place.is_shared() && global.is_shared());
        return (is_given(*app, "--sdr") && (place.sdr != wanted.sdr || !verd_vm_type_has_sdr(place.vm_type))) ||
               (is_given(*app, "--vm") && !is_type) || (is_given(*app, "--state") && place.state != wanted.state) ||
               (has_scope && place.is_local != wanted.is_local);
    });
    return places;
}
