#include "selector.h"

#include "frame/enumerations.h"
#include "location/flat_copy.h"
#include "location/vm_types.h"
#include "names.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <utility>

namespace fs = std::filesystem;

namespace
{

constexpr char LOG[] = "see /install_repo/log/install.log";

// "lc-qx" for "LC QX".
std::string option_name(std::string name)
{
    for (char &letter : name) {
        letter = letter == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return name;
}

bool is_meant(const std::string &text, const char *name, int64_t value)
{
    return option_name(text) == option_name(name) || text == std::to_string(value);
}

void check_regular(const fs::path &file)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(file, error);
    if (status.type() == fs::file_type::none) {
        throw Failure(FAILED, "can't look for " + file.string(), {error.message()});
    }
    if (fs::exists(status) && !fs::is_regular_file(file, error)) {
        throw Failure(FAILED, "not a regular file: " + file.string());
    }
}

template <class T>
CLI::Option *add_parsed(CLI::App &command, const std::string &flag, T &target,
                        std::optional<T> (*parse_it)(const std::string &), const std::string &help)
{
    return command
        .add_option_function<std::string>(
            flag, [&target, parse_it](const std::string &text) { target = *parse_it(text); }, help)
        ->check([parse_it, help](const std::string &text) {
            return parse_it(text) ? std::string() : "'" + shown(text.c_str()) + "' isn't one; " + help;
        });
}

} // namespace

std::optional<uint32_t> parse_vm_type(const std::string &text)
{
    for (const VmType &type : VM_TYPES) {
        if (is_meant(text, type.name, type.number)) {
            return type.number;
        }
    }
    return std::nullopt;
}

std::optional<int32_t> parse_state(const std::string &text)
{
    for (const int32_t state : {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, VERD_SWP_PREPARED}) {
        if (is_meant(text, state_name(state), state)) {
            return state;
        }
    }
    return std::nullopt;
}

std::string Selector::describe() const
{
    const std::string owner = is_qx_based(vm_type) ? " of " + sdr : "";
    return std::string(state_name(state)) + " " + vm_type_name(vm_type) + " profile" + owner + " (" +
           scope_name(is_local) + ")";
}

std::string Selector::path() const
{
    char *text = nullptr;
    ErrorText error;
    const uint64_t rc = inst_get_sdr_swprofile_file(sdr.c_str(), &text, is_local, state, vm_type, error.slot());
    if (rc != 0) {
        throw failure_of(rc, (rc == INST_RC_NO_SWPROFILE ? "there is no " : "can't name the file of the ") + describe(),
                         error);
    }
    std::string path = text;
    std::free(text);
    return path;
}

Failure Selector::fetch_failure(uint64_t rc, const ErrorText &error) const
{
    const std::string file = path();
    if (rc == INSTMGR_RC_ERRNO(ENOENT)) {
        return {NO_PROFILE, "there is no " + describe(), {"no file " + file}};
    }
    if (rc == INSTMGR_RC_ERRNO(0)) {
        return {NO_PROFILE,
                "there is no " + describe(),
                {"the file is empty, which counts as absent: " + file, "create the profile anew"}};
    }
    if (rc == INSTMGR_RC_INVALID_DATA) {
        return {INVALID_DATA,
                "the " + describe() + " is damaged",
                {"not a whole, unchanged profile: " + file, "restore it from another state or create it anew"}};
    }
    return failure_of(rc, "can't read the " + describe(), error);
}

void Selector::check_file() const
{
    check_regular(path());
}

Profile Selector::fetch() const
{
    check_file();
    inst_sw_profile_sdr_ext *profile = nullptr;
    ErrorText error;
    const uint64_t rc = inst_ldpath_get_swprofile(sdr.c_str(), is_local, state, vm_type, &profile, error.slot());
    if (rc != 0) {
        throw fetch_failure(rc, error);
    }
    return Profile(profile);
}

std::vector<fs::path> Selector::files() const
{
    const fs::path bin = path();
    std::vector<fs::path> found = {bin, fs::path(bin).replace_extension(".txt")};
    if (has_flat_copies(sdr.c_str(), is_local, vm_type)) {
        found.push_back(repository::LOCAL_DIRECTORY / found[0].filename());
        found.push_back(repository::LOCAL_DIRECTORY / found[1].filename());
    }
    return found;
}

void Selector::check_files() const
{
    for (const fs::path &file : files()) {
        check_regular(file);
    }
}

std::string Selector::sdr_fault(const inst_sw_profile_sdr_ext &profile) const
{
    const char *const key = profile.sdr_sw_profile.sdr_key;
    if (!is_qx_based(vm_type) || (key != nullptr && key == sdr)) {
        return "";
    }
    return key == nullptr ? "names no SDR" : "names another SDR: " + shown(key);
}

Profile Selector::fetch_to_edit() const
{
    Profile profile = fetch();
    const std::string fault = sdr_fault(*profile);
    if (!fault.empty()) {
        throw Failure(INVALID_DATA, "the " + describe() + " " + fault,
                      {"an edit would be stored there",
                       "create it anew: 'show --json', then 'create --from FILE --replace --sdr " + sdr + "'"});
    }
    check_files();
    return profile;
}

bool Selector::is_lost() const
{
    try {
        static_cast<void>(fetch());
        return false;
    } catch (const Failure &failure) {
        return failure.exit_code == NO_PROFILE || failure.exit_code == INVALID_DATA;
    }
}

void Selector::tell_loss(Failure &failure) const
{
    if (is_lost()) {
        failure.details.push_back("the profile that was there is lost: " + path());
        failure.details.emplace_back("copy it back from another state, or create it anew");
    }
}

Profile Selector::fetch_stored() const
{
    try {
        return fetch();
    } catch (const Failure &failure) {
        std::vector<std::string> details = {failure.what()};
        details.insert(details.end(), failure.details.begin(), failure.details.end());
        details.emplace_back(LOG);
        throw Failure(FAILED, "couldn't store the " + describe(), details);
    }
}

void add_sdr_option(CLI::App &command, Selector &selector)
{
    command.add_option("--sdr", selector.sdr, "the SDR's name; not used for Admin profiles")
        ->capture_default_str()
        ->check(key_fault);
}

void add_vm_option(CLI::App &command, Selector &selector)
{
    std::string names;
    std::string numbers;
    for (const VmType &type : VM_TYPES) {
        if (type.local_files != nullptr) {
            names += option_name(type.name) + ", ";
            numbers += (numbers.empty() ? "" : ", ") + std::to_string(type.number);
        }
    }
    add_parsed(command, "--vm", selector.vm_type, parse_vm_type,
               "VM type: " + names + "or " + numbers + " [" + option_name(vm_type_name(selector.vm_type)) + "]");
}

CLI::Option *add_state_option(CLI::App &command, const std::string &flag, int32_t &state)
{
    const std::string by_default = state == 0 ? "" : std::string(" [") + state_name(state) + "]";
    return add_parsed(command, flag, state, parse_state, "state: committed, active, prepared, or 1, 2, 3" + by_default);
}

void add_scope_option(CLI::App &command, Selector &selector)
{
    CLI::Option *const local = command.add_flag("--local", selector.is_local, "the node's own repository");
    command
        .add_flag_callback(
            "--global", [&selector] { selector.is_local = false; }, "the global install database, which is the default")
        ->excludes(local);
}

void add_selector_options(CLI::App &command, Selector &selector)
{
    add_sdr_option(command, selector);
    add_vm_option(command, selector);
    add_state_option(command, "--state", selector.state);
    add_scope_option(command, selector);
}
