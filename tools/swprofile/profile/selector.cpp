#include "profile/selector.h"

#include "profile/names.h"

namespace fs = std::filesystem;

namespace
{

void check_regular(const fs::path &file, fs::file_status (*status_of)(const fs::path &, std::error_code &))
{
    std::error_code error;
    const fs::file_status status = status_of(file, error);
    if (status.type() == fs::file_type::none) {
        throw Failure(FAILED, "cannot examine " + file.string(), {error.message()});
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        throw Failure(FAILED, "not a regular file: " + file.string(), {}, "ls -ld " + file.string());
    }
}

} // namespace

std::vector<uint32_t> vm_types()
{
    std::vector<uint32_t> types;
    for (uint32_t number = 1; verd_find_vm_type(number) != nullptr; ++number) {
        if (verd_find_vm_type(number)->has_profile) {
            types.push_back(number);
        }
    }
    return types;
}

Selector Selector::with_state(int32_t other) const
{
    Selector selector = *this;
    selector.state = other;
    return selector;
}

std::string Selector::describe() const
{
    const std::string owner = verd_vm_type_has_sdr(vm_type) ? " of " + sdr : "";
    return std::string(verd_state_name(state)) + " " + verd_vm_type_name(vm_type) + " profile" + owner + " (" +
           verd_scope_name(is_local) + ")";
}

std::string Selector::command(const std::string &subcommand) const
{
    const Selector by_default;
    std::string text = "swprofile " + subcommand;
    if (sdr != by_default.sdr && verd_vm_type_has_sdr(vm_type)) {
        text += " --sdr " + sdr;
    }
    if (vm_type != by_default.vm_type) {
        text += " --vm " + lower_case_name(verd_vm_type_name(vm_type));
    }
    if (state != by_default.state) {
        text += std::string(" --state ") + verd_state_name(state);
    }
    return text + (is_local ? " --local" : "");
}

std::string Selector::path() const
{
    char *text = nullptr;
    ErrorText error;
    const uint64_t rc = inst_get_sdr_swprofile_file(sdr.c_str(), &text, is_local, state, vm_type, error.slot());
    if (rc != 0) {
        throw failure_of(rc, "cannot name the file of the " + describe(), error);
    }
    std::string path = text;
    std::free(text);
    return path;
}

std::vector<fs::path> Selector::files() const
{
    const fs::path bin = fs::path(path()).lexically_normal();
    std::vector<fs::path> files = {bin, fs::path(bin).replace_extension(".txt")};
    if (verd_has_flat_copies(sdr.c_str(), is_local, vm_type)) {
        files.push_back(VERD_LOCAL_DIRECTORY / files[0].filename());
        files.push_back(VERD_LOCAL_DIRECTORY / files[1].filename());
    }
    return files;
}

Profile Selector::fetch() const
{
    check_readable();
    inst_sw_profile_sdr_ext *profile = nullptr;
    ErrorText error;
    const uint64_t rc = call(inst_ldpath_get_swprofile, &profile, error.slot());
    if (rc != 0) {
        throw fetch_failure(rc, error);
    }
    return Profile(profile);
}

Failure Selector::fetch_failure(uint64_t rc, const ErrorText &error) const
{
    if (rc == INSTMGR_RC_ERRNO(ENOENT) || rc == INSTMGR_RC_ERRNO(0)) {
        const std::string cause = rc == INSTMGR_RC_ERRNO(0) ? "an empty file counts as absent: " : "no file ";
        return {NO_PROFILE, "there is no " + describe(), {cause + path()}, "swprofile list"};
    }
    if (rc == INSTMGR_RC_INVALID_DATA) {
        return {INVALID_DATA,
                "the " + describe() + " is damaged",
                {"truncated or corrupted: " + path(), "copy another state over it, or create it again"},
                "swprofile list"};
    }
    return failure_of(rc, "cannot read the " + describe(), error);
}

void Selector::check_readable() const
{
    check_regular(path(), fs::status);
}

void Selector::check_writable() const
{
    for (const fs::path &file : files()) {
        check_regular(file, fs::symlink_status);
    }
}

bool Selector::is_shared() const
{
    return !is_local && (vm_type == VERD_VM_QX || vm_type == VERD_VM_LC_QX);
}

void Selector::note_shared(const Profile &existing) const
{
    if (is_shared() && existing != nullptr && existing->sdr_sw_profile.vm_type != vm_type) {
        note(std::string("the global QX and LC QX profiles of an SDR are one file; it contains the ") +
             verd_vm_type_name(existing->sdr_sw_profile.vm_type) + " profile: " + path());
    }
}

std::string rendered_text(const inst_sw_profile_sdr_ext &profile)
{
    char *text = nullptr;
    const uint64_t rc = instcomm_get_swprofile_sdr_str(&profile, &text, 1, nullptr);
    if (rc != 0) {
        throw failure_of(rc, "cannot render the profile");
    }
    std::string rendered = text;
    std::free(text);
    return rendered;
}

std::string identity_fault(const Selector &selector, const inst_sw_profile_sdr_ext &profile)
{
    const inst_sw_profile_sdr &sdr = profile.sdr_sw_profile;
    if (verd_vm_type_has_sdr(selector.vm_type) && !inst_sw_profile_sdr_has_sdr_key(&sdr)) {
        return "names no SDR";
    }
    if (verd_vm_type_has_sdr(selector.vm_type) && printable(sdr.sdr_key) != selector.sdr) {
        return "names another SDR: " + printable(sdr.sdr_key);
    }
    const bool is_either = selector.is_shared() && (sdr.vm_type == VERD_VM_QX || sdr.vm_type == VERD_VM_LC_QX);
    return sdr.vm_type == selector.vm_type || is_either
               ? ""
               : std::string("names another VM type: ") + verd_vm_type_name(sdr.vm_type);
}

Profile fetch_own(const Selector &selector)
{
    Profile profile = selector.fetch();
    selector.note_shared(profile);
    const std::string fault = identity_fault(selector, *profile);
    if (!fault.empty()) {
        throw Failure(INVALID_DATA, "the " + selector.describe() + " " + fault,
                      {"in " + selector.path(),
                       "to store it again, give --sdr and --vm of this place: create --replace --from FILE --sdr " +
                           selector.sdr + " --vm " + lower_case_name(verd_vm_type_name(selector.vm_type))},
                      selector.command("show --json") + " >FILE");
    }
    return profile;
}
