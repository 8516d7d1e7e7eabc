#include "commands.h"
#include "create_input.h"
#include "location/vm_types.h"
#include "names.h"
#include "request.h"
#include "service_pack_set.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <set>

namespace
{

namespace fs = std::filesystem;

// A request of the library that points into an input, which must outlive it.
class Request
{
public:
    explicit Request(CreateInput &input) : packs(input.service_packs)
    {
        std::transform(input.packages.begin(), input.packages.end(), std::back_inserter(packages),
                       [this](PackageInput &package) { return package_of(package); });

        request.sdr_key = is_qx_based(input.selector.vm_type) ? input.selector.sdr.data() : nullptr;
        request.is_local = input.selector.is_local;
        request.part_type = static_cast<uint32_t>(input.selector.state);
        request.vm_type = input.selector.vm_type;
        request.lv_name = text_of(input.lv_name);
        request.image = text_of(input.image);
        request.image_aux_name = text_of(input.image_aux_name);
        request.image_rpms = list_of(input.image_rpms);
        request.num_image_rpms = count_of(input.image_rpms);
        request.version = text_of(input.version);
        request.packages = packages.data();
        request.packages_count = count_of(packages);
        request.serv_packs = packs.set();
        request.is_single_initrd_supported = input.is_single_initrd_supported;
    }
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;

    swprofile_create_request request = {};

private:
    template <class T> static uint32_t count_of(const std::vector<T> &values)
    {
        return static_cast<uint32_t>(values.size());
    }

    static char *text_of(std::string &text) { return text.empty() ? nullptr : text.data(); }

    char **list_of(std::vector<std::string> &texts)
    {
        std::vector<char *> &list = lists.emplace_back();
        std::transform(texts.begin(), texts.end(), std::back_inserter(list),
                       [](std::string &text) { return text.data(); });
        return list.data();
    }

    inst_swp_package package_of(PackageInput &input)
    {
        inst_swp_package package = {};
        inst_swp_package_set_name(&package, input.name.data());
        inst_swp_package_set_pkg_type(&package, input.type);
        if (!input.files.empty()) {
            inst_swp_package_set_files(&package, list_of(input.files), count_of(input.files));
        }
        if (!input.aux_name.empty()) {
            inst_swp_package_set_aux_name(&package, input.aux_name.data());
        }
        if (input.value != 0) {
            inst_swp_package_set_pkg_value(&package, input.value);
        }
        if (input.is_service_pack_member) {
            inst_swp_package_set_is_sp_pkg(&package, 1);
        }
        return package;
    }

    std::deque<std::vector<char *>> lists;
    std::vector<inst_swp_package> packages;
    ServicePackSet packs;
};

struct Options {
    CreateInput input;
    bool is_replacing = false;
};

void refuse(const std::string &what, const std::string &detail)
{
    throw Failure(INVALID_DATA, what, {detail});
}

template <class T> void check_unique(const std::string &what, const std::vector<T> &inputs)
{
    std::set<std::string> names;
    for (const T &input : inputs) {
        if (!names.insert(input.name).second) {
            refuse("the " + what + " is given twice", input.name);
        }
    }
}

void check(const CreateInput &input)
{
    if (input.image.empty()) {
        throw Failure(USAGE, "no image given", {"give --image, or an \"image\" with a \"name\" in the request file"});
    }
    const fs::path image = input.image;
    std::error_code error;
    const std::string fault = name_fault(image.filename());
    if (!fault.empty()) {
        refuse("the image's name can't be used", fault);
    }
    if (image.has_parent_path() && (!fs::is_regular_file(image, error) || fs::file_size(image, error) == 0)) {
        refuse("the image isn't there", "no file with content: " + shown(image.c_str()));
    }
    check_unique("package", input.packages);
    check_unique("service pack", input.service_packs);
    const bool has_member = std::any_of(input.packages.begin(), input.packages.end(),
                                        [](const PackageInput &package) { return package.is_service_pack_member; });
    if (!input.service_packs.empty() && !has_member) {
        refuse("the service packs would be lost",
               "a profile has service packs only when one of its packages is a member of one; see --sp-package");
    }
}

void run(Options &options)
{
    CreateInput &input = options.input;
    const Selector &selector = input.selector;
    check(input);
    const std::string path = selector.path();
    uint8_t exists = 0;
    ErrorText error;
    uint64_t rc = inst_ldpath_check_swprofile_exists(selector.sdr.c_str(), selector.is_local, selector.state,
                                                     selector.vm_type, &exists, error.slot());
    if (rc != 0) {
        throw failure_of(rc, "can't look for the " + selector.describe(), error);
    }
    if (exists != 0 && !options.is_replacing) {
        throw Failure(FAILED, "the " + selector.describe() + " exists already", {path, "--replace writes over it"});
    }
    selector.check_files();
    Request request(input);
    rc = inst_ldpath_create_sdr_swprofile(&request.request);
    if (rc != 0) {
        Failure failure = failure_of(rc, "can't create the " + selector.describe(), ErrorText());
        if (exists != 0) {
            selector.tell_loss(failure);
        }
        failure.details.emplace_back("see /install_repo/log/install.log");
        throw failure;
    }
    static_cast<void>(selector.fetch_stored());
    std::printf("created the %s\n%s\n", selector.describe().c_str(), path.c_str());
}

std::vector<std::string> split_names(const std::string &text)
{
    std::vector<std::string> names;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        names.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

// "NAME" or "NAME=RPM,RPM,..."; throws what CLI11 reports as a wrong option.
std::pair<std::string, std::vector<std::string>> parse_named_list(const std::string &option, const std::string &text)
{
    const std::size_t equals = text.find('=');
    std::vector<std::string> names;
    if (equals != std::string::npos) {
        names = split_names(text.substr(equals + 1));
    }
    const std::string name = text.substr(0, equals);
    for (const std::string &each : names) {
        if (!name_fault(each).empty()) {
            throw CLI::ValidationError(option, name_fault(each));
        }
    }
    if (!name_fault(name).empty()) {
        throw CLI::ValidationError(option, name_fault(name));
    }
    return {name, names};
}

void add_package_option(CLI::App &create, CreateInput &input, const std::string &option, bool is_member,
                        const std::string &help)
{
    create
        .add_option_function<std::vector<std::string>>(
            option,
            [=, &input](const std::vector<std::string> &texts) {
                for (const std::string &text : texts) {
                    PackageInput package;
                    std::tie(package.name, package.files) = parse_named_list(option, text);
                    package.is_service_pack_member = is_member;
                    input.packages.push_back(package);
                }
            },
            help)
        ->allow_extra_args(false)
        ->type_name("NAME[=RPM,...]");
}

void add_service_pack_option(CLI::App &create, CreateInput &input)
{
    create
        .add_option_function<std::vector<std::string>>(
            "--service-pack",
            [&input](const std::vector<std::string> &texts) {
                for (const std::string &text : texts) {
                    ServicePackInput pack;
                    std::tie(pack.name, pack.rpms) = parse_named_list("--service-pack", text);
                    input.service_packs.push_back(pack);
                }
            },
            "a service pack and the RPMs that it delivers; repeat for more")
        ->allow_extra_args(false)
        ->type_name("NAME[=RPM,...]");
}

} // namespace

void add_create(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CreateInput &input = options->input;
    CLI::App *const create = command.add_subcommand("create", "Create a profile and store it");

    // Read before the other options, which go over it.
    create
        ->add_option_function<std::string>(
            "--from", [&input](const std::string &file) { read_request(file, input); },
            "a request as JSON, such as 'show --json' prints, or - for standard input; other options go over it, "
            "packages and service packs are added")
        ->type_name("FILE")
        ->trigger_on_parse();
    add_selector_options(*create, input.selector);
    create
        ->add_option("--image", input.image,
                     "the image file, of which the name is recorded; one with a directory must be there")
        ->check(text_fault);
    create->add_option("--image-rpm", input.image_rpms, "an RPM inside the image; repeat for more")
        ->allow_extra_args(false)
        ->check(name_fault);
    create->add_option("--image-aux-name", input.image_aux_name, "a second name of the image")->check(name_fault);
    create->add_option("--version", input.version, "version of the software")->check(text_fault);
    create->add_option("--lv", input.lv_name, "logical volume that holds the software")->check(name_fault);
    add_package_option(*create, input, "--package", false, "a package and its RPM files; repeat for more");
    add_package_option(*create, input, "--sp-package", true, "the same, for a member of a service pack");
    add_service_pack_option(*create, input);
    create->add_flag("--single-initrd", input.is_single_initrd_supported, "the software supports a single initrd");
    create->add_flag("--replace", options->is_replacing, "write over a profile that exists");
    create->footer(
        "When /misc/disk1/usb/opt_pkgs exists, the packages are copied from there to /install_repo/gl/qx/, "
        "which must exist, first.\n\n"
        "A request: {\"image\": {\"name\": \"qx-image-1.4.0.iso\", \"rpms\": [\"a.rpm\"]}, \"version\": \"1.4.0\",\n"
        "  \"packages\": [{\"name\": \"p-1-r1\", \"files\": [\"p.rpm\"], \"type\": 1, \"service_pack_member\": "
        "true}],\n"
        "  \"service_packs\": [{\"name\": \"SP1\", \"rpms\": [\"p-1-r1\"]}]}. Location profiles aren't created.\n\n"
        "Examples:\n"
        "  swprofile create --image /images/qx-image-1.4.0.iso --version 1.4.0 --state prepared\n"
        "  swprofile create --image qx-image-1.4.0.iso --package qx-routing-1.4.0-r1=qx-routing-1.4.0-r1.rpm\n"
        "  swprofile show --json | swprofile create --from - --state prepared");
    create->callback([options] { run(*options); });
}
