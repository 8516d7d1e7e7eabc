#include "profile/difference.h"
#include "profile/findings.h"
#include "profile/names.h"
#include "profile/options.h"
#include "safety/change.h"
#include "subcommands/commands.h"
#include "json/read_json.h"

#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>

namespace
{

namespace fs = std::filesystem;

struct CreateOptions {
    const CLI::App *app = nullptr;
    Selector selector;
    std::optional<std::string> file; // of --from
    std::string image;               // with its directory
    Json fields = Json::object();    // set by the other options, in the form of --from's JSON
    bool is_replacing = false;
    bool is_dry_run = false;
};

// Adds fields to an object: they replace its values, and extend its lists.
void add_fields(Json &json, const Json &fields)
{
    for (const auto &[key, value] : fields.items()) {
        if (value.is_object()) {
            add_fields(json[key], value);
        } else if (value.is_array()) {
            std::ranges::copy(value, std::back_inserter(json[key]));
        } else {
            json[key] = value;
        }
    }
}

// If the names of service packs are missing, takes them from the details; in location profiles too.
void add_names(Json &json)
{
    if (json.contains("location_profiles")) {
        std::ranges::for_each(json["location_profiles"], add_names);
    }
    if (json.contains("service_packs") && !json.contains("service_pack_names")) {
        json["service_pack_names"] = list_json(json["service_packs"], [](const Json &pack) {
            return pack.is_object() && pack.contains("name") ? pack["name"] : Json();
        });
    }
}

void check_unique(const std::string &what, const CreateOptions &options, const char *key)
{
    std::set<std::string> names;
    for (const Json &element : options.fields.value(key, Json::array())) {
        const std::string name = element["name"];
        if (!names.insert(name).second) {
            throw Failure(INVALID_DATA, "the " + what + " is given twice", {name});
        }
    }
}

bool is_given(const CreateOptions &options, const char *flag)
{
    return options.app->count(flag) != 0;
}

void check(const CreateOptions &options)
{
    check_unique("package", options, "packages");
    check_unique("service pack", options, "service_packs");
    const bool has_members = is_given(options, "--sp-package");
    if (has_members != is_given(options, "--service-pack")) {
        throw Failure(INVALID_DATA,
                      has_members ? "a member of a service pack needs its service pack"
                                  : "service packs need a package that is a member",
                      {"give both --sp-package and --service-pack"});
    }
    const fs::path image = options.image;
    std::error_code error;
    if (!image.empty() && !name_fault(image.filename()).empty()) {
        throw Failure(INVALID_DATA, "cannot use the name of the image", {name_fault(image.filename())});
    }
    if (image.has_parent_path() && (!fs::is_regular_file(image, error) || fs::file_size(image, error) == 0)) {
        throw Failure(INVALID_DATA, "the image is missing, empty or not a regular file: " + printable(image.c_str()));
    }
}

// The profile to be stored. The selector takes SDR, VM type, state and scope from the file if no option gives them.
Profile build_profile(CreateOptions &options)
{
    check(options);
    Json json = Json::object();
    Place place;
    if (options.file) {
        json = read_json(*options.file);
        profile_of(json, source_name(*options.file), place); // rejects invalid files before options are added
    }
    if (!options.image.empty()) {
        json["image"]["name"] = fs::path(options.image).filename();
    }
    add_names(json);
    add_names(options.fields);
    add_fields(json, options.fields);
    Profile profile = profile_of(json, options.file ? source_name(*options.file) : "options", place);
    Selector &selector = options.selector;
    selector.sdr = is_given(options, "--sdr") ? selector.sdr : place.sdr.value_or(selector.sdr);
    selector.vm_type = is_given(options, "--vm") ? selector.vm_type : place.vm_type.value_or(selector.vm_type);
    selector.state = is_given(options, "--state") ? selector.state : place.state.value_or(selector.state);
    if (!is_given(options, "--local") && !is_given(options, "--global")) {
        selector.is_local = place.is_local.value_or(selector.is_local);
    }
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    if (!options.file && options.image.empty()) {
        throw Failure(USAGE, "no image given", {"give --image, or a profile with --from"});
    }
    if (!inst_swp_package_has_pkg_type(&sdr.sw_profile.image)) {
        inst_swp_package_set_pkg_type(&sdr.sw_profile.image, 0);
    }
    inst_sw_profile_sdr_set_vm_type(&sdr, selector.vm_type);
    if (verd_vm_type_has_sdr(selector.vm_type)) {
        inst_sw_profile_sdr_set_sdr_key(&sdr, strdup(selector.sdr.c_str()));
        if (sdr.sdr_key == nullptr) {
            throw std::bad_alloc();
        }
    }
    return profile;
}

// Without --from, the library's own creation runs. It also copies the packages from /misc/disk1/usb/opt_pkgs.
uint64_t create(const CreateOptions &options, inst_sw_profile_sdr_ext &profile)
{
    constexpr uint32_t MAX_SIZE = 102400;
    inst_sw_profile_sdr &sdr = profile.sdr_sw_profile;
    if (zeld_inst_sw_profile_sdr_encode_ext(&sdr, nullptr, 0, 0, 0, 0) > MAX_SIZE) {
        throw Failure(
            INVALID_DATA, "the profile is too large",
            {"it has more than " + std::to_string(MAX_SIZE) + " bytes encoded; --from FILE has no such limit"});
    }
    inst_sw_profile_info &body = sdr.sw_profile;
    serv_packs packs = {};
    serv_packs_set_service_packs(&packs, body.sp_details, body.sp_details_count);
    std::string image = options.image;
    swprofile_create_request request = {};
    request.sdr_key = sdr.sdr_key;
    request.is_local = options.selector.is_local;
    request.part_type = static_cast<uint32_t>(options.selector.state);
    request.lv_name = body.lv_name;
    request.image = image.data();
    request.image_rpms = body.image.files;
    request.num_image_rpms = body.image.files_count;
    request.vm_type = sdr.vm_type;
    request.version = body.version;
    request.image_aux_name = body.image.aux_name;
    request.packages = body.packages;
    request.packages_count = body.packages_count;
    request.serv_packs = body.sp_details_count == 0 ? nullptr : &packs;
    request.is_single_initrd_supported = body.is_single_initrd_supported;
    return inst_ldpath_create_sdr_swprofile(&request);
}

void check_replacement(const CreateOptions &options, const Inspection &existing)
{
    const Selector &selector = options.selector;
    if (!existing.exists) {
        return;
    }
    const bool is_empty = existing.profile == nullptr && existing.findings.front().code == "empty";
    selector.note_shared(existing.profile);
    if (!options.is_replacing && !is_empty) {
        throw Failure(FAILED, "the " + selector.describe() + " exists already",
                      {selector.path(), "--replace replaces it"}, selector.command("show"));
    }
}

void create_profile(CreateOptions &options)
{
    const Profile profile = build_profile(options);
    const Selector &selector = options.selector;
    Change change(selector, options.is_dry_run);
    selector.check_writable();
    const Inspection existing = inspect(selector);
    check_replacement(options, existing);
    change.run("create the " + selector.describe(), {selector}, [&](ErrorText &error) {
        return !options.file ? create(options, *profile)
                             : inst_ldpath_store_sdr_swprofile(profile.get(), selector.is_local, selector.state,
                                                               nullptr, selector.vm_type, error.slot());
    });
    std::printf("%s the %s\n%s\n", options.is_dry_run ? "would create" : "created", selector.describe().c_str(),
                selector.path().c_str());
    if (existing.exists) {
        print_replaced(selector, existing, *profile);
    }
    if (!options.is_dry_run) {
        const std::vector<Finding> findings = inspect(selector).findings;
        std::ranges::for_each(findings, [](const Finding &finding) { note(text_of(finding)); });
    }
}

// Adds an option that sets the field at this JSON pointer. An empty text sets nothing.
CLI::Option *add_text_option(CLI::App &create, Json &fields, const std::string &option, const char *pointer,
                             const std::string &help)
{
    const auto set = [&fields, pointer](const std::string &text) {
        if (!text.empty()) {
            fields[Json::json_pointer(pointer)] = text;
        }
    };
    return create.add_option_function<std::string>(option, set, help);
}

// Adds an option of the form "NAME" or "NAME=RPM,RPM,...", repeated for each name. Each is appended to the list
// `key` of the fields, with the fields of `common`.
void add_named_list_option(CLI::App &create, Json &fields, const char *key, const Json &common,
                           const std::string &option, std::string (*fault_of)(const std::string &),
                           const std::string &help)
{
    const auto append_all = [&fields, key, common, option, fault_of](const std::vector<std::string> &texts) {
        for (const std::string &text : texts) {
            const std::size_t equals = text.find('=');
            const std::string name = text.substr(0, equals);
            Json element = common;
            element["name"] = name;
            std::string fault = fault_of(name);
            std::istringstream rpms(equals == text.npos ? "" : text.substr(equals + 1));
            for (std::string rpm; std::getline(rpms, rpm, ',');) {
                fault = fault.empty() ? name_fault(rpm) : fault;
                element["rpms"].push_back(rpm);
            }
            if (!fault.empty()) {
                throw CLI::ValidationError(option, fault);
            }
            fields[key].push_back(element);
        }
    };
    create.add_option_function<std::vector<std::string>>(option, append_all, help)
        ->allow_extra_args(false)
        ->type_name("NAME[=RPM,...]");
}

} // namespace

void add_create(CLI::App &command)
{
    const auto [create, options] =
        new_subcommand<CreateOptions>(command, "create", "Create a profile and store it", create_profile);
    options.app = &create;
    create
        .add_option("--from", options.file,
                    "JSON file such as 'show --json' prints, or - for standard input; other options override single "
                    "values; base RPMs, packages and service packs are added to its lists")
        ->type_name("FILE");
    add_selector_options(create, options.selector);
    create
        .add_option("--image", options.image,
                    "image file; only its name is recorded. If you give a path, the file must exist")
        ->type_name("FILE")
        ->check(text_fault);
    Json &fields = options.fields;
    create
        .add_option_function<std::vector<std::string>>(
            "--image-rpm", [&fields](const std::vector<std::string> &rpms) { fields["image"]["rpms"] = rpms; },
            "an RPM inside the image; repeat for each")
        ->allow_extra_args(false)
        ->check(name_fault);
    add_text_option(create, fields, "--image-aux-name", "/image/aux_name", "a second name of the image")
        ->check(name_fault);
    add_text_option(create, fields, "--version", "/version", "version of the software")->check(text_fault);
    add_text_option(create, fields, "--lv", "/lv_name", "logical volume that contains the software")->check(name_fault);
    const std::string base = package_type_text(VERD_SWP_PKG_BASE);
    add_named_list_option(create, fields, "packages", {{"type", base}}, "--package", package_fault,
                          "a package and its RPM files; repeat for each");
    add_named_list_option(create, fields, "packages", {{"type", base}, {"service_pack_member", true}}, "--sp-package",
                          package_fault, "the same, for a member of a service pack");
    add_named_list_option(create, fields, "service_packs", Json::object(), "--service-pack", name_fault,
                          "a service pack and the RPMs that it delivers; repeat for each");
    create.add_flag_callback(
        "--single-initrd", [&fields] { fields["single_initrd"] = true; }, "the software supports a single initrd");
    create.add_flag("--replace", options.is_replacing, "replace an existing profile");
    add_change_options(create, options.is_dry_run);
    create.footer(
        "--from accepts everything that 'show --json' prints, location profiles included, so its output is a backup.\n"
        "Without --from, the packages given by options are first copied from /misc/disk1/usb/opt_pkgs, if it exists,\n"
        "to /install_repo/gl/qx/. swprofile(1) documents the JSON fields.\n\n"
        "Examples:\n"
        "  swprofile create --image /images/qx-image-1.4.0.iso --version 1.4.0 --state prepared\n"
        "  swprofile create --image qx-image-1.4.0.iso --package qx-routing-1.4.0-r1=qx-routing-1.4.0-r1.rpm\n"
        "  swprofile show --json | swprofile create --from - --state prepared");
}
