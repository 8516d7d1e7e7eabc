#include "profile/options.h"

#include "profile/names.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace
{

using Names = std::vector<std::pair<std::string, uint32_t>>;

std::optional<uint32_t> find_name(const Names &names, const std::string &text)
{
    for (const auto &[name, number] : names) {
        if (lower_case_name(text) == lower_case_name(name) || text == std::to_string(number)) {
            return number;
        }
    }
    return std::nullopt;
}

// "admin, qx, lc-qx or uvf".
std::string listed(const std::vector<std::string> &values)
{
    std::string text;
    for (const std::string &value : values) {
        text += (&value == &values.front() ? "" : &value == &values.back() ? " or " : ", ") + value;
    }
    return text;
}

// An option whose text is parsed. Its type lists the values, for the help and for completion.
template <class T, class Parse>
CLI::Option *add_parsed(CLI::App &command, const std::string &flag, T &target, Parse parse, const std::string &what,
                        const std::vector<std::string> &values, const std::string &by_default)
{
    return command
        .add_option_function<std::string>(
            flag, [&target, parse](const std::string &text) { target = *parse(text); },
            what + (by_default.empty() ? "" : " [" + by_default + "]"))
        ->type_name(CLI::detail::join(values, "|"))
        ->check([=](const std::string &text) {
            return parse(text) ? std::string()
                               : "unknown " + what + " '" + printable(text.c_str()) + "' (use " + listed(values) + ")";
        });
}

std::vector<std::string> vm_type_values()
{
    std::vector<std::string> values;
    for (const uint32_t type : vm_types()) {
        values.push_back(lower_case_name(verd_vm_type_name(type)));
    }
    return values;
}

// A name, or any number.
std::optional<uint32_t> parse_type(const Names &names, const std::string &text)
{
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = error == std::errc() && end == text.data() + text.size();
    return is_number ? std::optional(number) : find_name(names, text);
}

const Names PACKAGE_TYPES = {
    {"base", VERD_SWP_PKG_BASE}, {"kernel", VERD_SWP_PKG_KERNEL}, {"host-smu", VERD_SWP_PKG_HOST_SMU}};

std::optional<uint32_t> parse_install_type(const std::string &text)
{
    return parse_type(
        {{"smu", VERD_PKG_SMU}, {"host-smu", VERD_PKG_HOST_SMU}, {"kernel", VERD_PKG_KERNEL}, {"base", VERD_PKG_BASE}},
        text);
}

} // namespace

std::optional<uint32_t> parse_vm_type(const std::string &text)
{
    Names names;
    for (uint32_t number = 1; verd_find_vm_type(number) != nullptr; ++number) {
        names.emplace_back(verd_vm_type_name(number), number);
    }
    return find_name(names, text);
}

std::optional<int32_t> parse_state(const std::string &text)
{
    Names names;
    for (const int32_t state : STATES) {
        names.emplace_back(verd_state_name(state), state);
    }
    const std::optional<uint32_t> state = find_name(names, text);
    return state ? std::optional(static_cast<int32_t>(*state)) : std::nullopt;
}

std::string package_type_text(uint32_t type)
{
    for (const auto &[name, number] : PACKAGE_TYPES) {
        if (number == type) {
            return name;
        }
    }
    return std::to_string(type);
}

std::optional<uint32_t> parse_package_type(const std::string &text)
{
    return parse_type(PACKAGE_TYPES, text);
}

CLI::Option *add_state_option(CLI::App &command, const std::string &flag, int32_t &state)
{
    return add_parsed(command, flag, state, parse_state, "state", {"committed", "active", "prepared"},
                      state == 0 ? "" : verd_state_name(state));
}

void add_scope_option(CLI::App &command, Selector &selector)
{
    CLI::Option *const local = command.add_flag("--local", selector.is_local, "the repository of this node");
    command
        .add_flag_callback(
            "--global", [&selector] { selector.is_local = false; }, "the global install database (default)")
        ->excludes(local);
}

void add_profile_options(CLI::App &command, Selector &selector)
{
    command.add_option("--sdr", selector.sdr, "name of the SDR; Admin profiles have none")
        ->type_name("SDR")
        ->capture_default_str()
        ->check(key_fault);
    add_parsed(command, "--vm", selector.vm_type, parse_vm_type, "VM type", vm_type_values(),
               selector.vm_type == 0 ? "" : lower_case_name(verd_vm_type_name(selector.vm_type)));
    add_scope_option(command, selector);
}

void add_selector_options(CLI::App &command, Selector &selector)
{
    add_profile_options(command, selector);
    add_state_option(command, "--state", selector.state);
}

void add_json_option(CLI::App &command, bool &is_json)
{
    command.add_flag("--json", is_json, "print JSON, schema 1");
}

void add_install_type_option(CLI::App &command, uint32_t &type)
{
    add_parsed(command, "--type", type, parse_install_type, "type", {"smu", "host-smu", "kernel", "base", "a number"},
               "base");
}

CLI::Option *add_choice_option(CLI::App &command, const std::string &name, std::string &target, const std::string &what,
                               const std::vector<std::string> &values)
{
    const auto parse = [values](const std::string &text) {
        return std::ranges::count(values, text) != 0 ? std::optional(text) : std::nullopt;
    };
    return add_parsed(command, name, target, parse, what, values, "");
}

void PlaceFilter::add_options(CLI::App &command)
{
    app = &command;
    add_selector_options(command, wanted);
}

bool PlaceFilter::is_restricted() const
{
    constexpr const char *FLAGS[] = {"--sdr", "--vm", "--state", "--local", "--global"};
    return std::ranges::any_of(FLAGS, [this](const char *flag) { return app->count(flag) != 0; });
}

std::vector<Selector> PlaceFilter::places(const PathVisitor &visit_other) const
{
    const bool has_scope = app->count("--local") != 0 || app->count("--global") != 0;
    Selector in_global_scope = wanted;
    in_global_scope.is_local = false;
    std::vector<Selector> places = all_places(visit_other);
    std::erase_if(places, [&](const Selector &place) {
        const bool is_sdr = place.sdr == wanted.sdr && verd_vm_type_has_sdr(place.vm_type);
        const bool is_type = place.vm_type == wanted.vm_type || (place.is_shared() && in_global_scope.is_shared());
        return (app->count("--sdr") != 0 && !is_sdr) || (app->count("--vm") != 0 && !is_type) ||
               (app->count("--state") != 0 && place.state != wanted.state) ||
               (has_scope && place.is_local != wanted.is_local);
    });
    return places;
}
