#include "support/repository_test.h"

#include <cstdlib>
#include <cstring>
#include <ftw.h>
#include <map>
#include <regex>
#include <set>

namespace
{

// Removes what is in a directory, but never goes into what is mounted there, such as the checkout itself.
void empty_directory(const char *directory)
{
    const auto remove_entry = [](const char *path, const struct stat *, int, FTW *place) {
        if (place->level > 0) {
            static_cast<void>(std::remove(path));
        }
        return 0;
    };
    nftw(directory, remove_entry, 16, FTW_DEPTH | FTW_MOUNT | FTW_PHYS);
}

// No two messages share a number, a number never tells two things, and the trace is told of the arguments what the
// format says of them.
void check_messages()
{
    static std::map<uint32_t, std::string> format_of;
    for (const hooks::Message &message : hooks::messages) {
        EXPECT_EQ(format_of.emplace(message.site, message.format).first->second, message.format) << message.site;
        std::string types;
        uint32_t words = 0;
        for (std::size_t at = 0; (at = message.format.find('%', at)) != std::string::npos; ++at) {
            const char letter = message.format[at + 1];
            types += letter == 's' ? 's' : letter == 'd' || letter == 'u' ? 'd' : 'D';
            words += types.back() == 's' ? 0 : types.back() == 'd' ? 1 : 2;
        }
        EXPECT_EQ(message.arg_types, types) << message.format;
        EXPECT_EQ(message.size_class, 4 + words) << message.format;
        EXPECT_EQ(message.has_strings, types.find('s') == std::string::npos ? 0U : 1U) << message.format;
    }
}

// A DEBUG line with its function, but without time, process, thread and line number.
std::string without_changing_parts(const std::string &line)
{
    const std::size_t function = line.find(", ", line.find(" tid ")) + 2;
    const std::size_t number = line.find(", ", function);
    const std::size_t message = line.find(" : ", number);
    return message == std::string::npos ? line : line.substr(function, number - function) + line.substr(message + 1);
}

std::string size_text(const fs::directory_entry &file)
{
    std::error_code error;
    const std::uintmax_t size = file.file_size(error);
    return error ? ", unreadable" : ", " + std::to_string(size) + " bytes";
}

template <class Record>
void set_list(void (*set)(Record *, char **, uint32_t), Record &record, const std::vector<const char *> &texts)
{
    set(&record, new_list(texts), static_cast<uint32_t>(texts.size()));
}

void fill_body(inst_sw_profile_info &body)
{
    auto *const packages = static_cast<inst_swp_package *>(calloc(2, sizeof(inst_swp_package)));
    packages[0] = new_package("alpha-1.0-r1", {"alpha-1.0-r1.rpm", nullptr, ""}, 5);
    inst_swp_package &package = packages[0];
    inst_swp_package_set_aux_name(&package, strdup("second"));
    inst_swp_package_set_pkg_value(&package, UINT64_MAX);
    inst_swp_package_set_pkg_marker(&package, 1);
    set_list(inst_swp_package_set_extra_list, package, {"extra"});
    set_list(inst_swp_package_set_extra_list_2, package, {});
    inst_swp_package_set_is_sp_pkg(&package, 1);
    inst_swp_package_set_extra_value(&package, 1);
    packages[1] = new_package("beta-2.0-r1");

    auto *const details = static_cast<sp_detail *>(calloc(2, sizeof(sp_detail)));
    sp_detail_set_sp_name(&details[0], strdup("SP1"));
    set_list(sp_detail_set_sp_rpms, details[0], {"alpha-1.0-r1", "gamma-1.0-r1"});

    inst_sw_profile_info_set_lv_name(&body, strdup("lv0"));
    inst_sw_profile_info_set_version(&body, strdup("1.4.0"));
    body.image = new_package("image.iso", {"base.rpm"}, 0);
    inst_sw_profile_info_set_packages(&body, packages, 2);
    inst_sw_profile_info_set_sp_details(&body, details, 2);
    set_list(inst_sw_profile_info_set_sp_names, body, {"SP1", nullptr});
    inst_sw_profile_info_set_is_single_initrd_supported(&body, 1);
}

} // namespace

std::string read_file(const fs::path &path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

void write_file(const fs::path &path, const std::string &content)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << content;
}

char **new_list(const std::vector<const char *> &texts)
{
    if (texts.empty()) {
        return nullptr;
    }
    auto *const list = static_cast<char **>(calloc(texts.size(), sizeof(char *)));
    for (std::size_t i = 0; i < texts.size(); ++i) {
        list[i] = texts[i] == nullptr ? nullptr : strdup(texts[i]);
    }
    return list;
}

inst_swp_package new_package(const char *name, const std::vector<const char *> &files, uint32_t type)
{
    inst_swp_package package = {};
    if (name != nullptr) {
        inst_swp_package_set_name(&package, strdup(name));
    }
    if (!files.empty()) {
        set_list(inst_swp_package_set_files, package, files);
    }
    inst_swp_package_set_pkg_type(&package, type);
    return package;
}

inst_sw_profile_sdr_ext *new_full_profile()
{
    auto *const profile = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    inst_sw_profile_sdr_set_vm_type(&sdr, VERD_VM_QX);
    inst_sw_profile_sdr_set_sdr_key(&sdr, strdup("default-sdr"));
    fill_body(sdr.sw_profile);

    auto *const locations = static_cast<inst_sw_profile_loc *>(calloc(1, sizeof(inst_sw_profile_loc)));
    auto *const nodes = static_cast<inst_node_loc *>(calloc(2, sizeof(inst_node_loc)));
    inst_node_loc_set_loc_id_1(&nodes[0], UINT32_MAX);
    inst_node_loc_set_loc_id_3(&nodes[0], 64);
    inst_sw_profile_loc_set_node_locs(&locations[0], nodes, 2);
    fill_body(locations[0].sw_profile);
    inst_sw_profile_sdr_set_loc_profiles(&sdr, locations, 1);

    inst_sw_profile_sdr_ext_set_sdr_sw_profile(profile, sdr); // the bit of a nested record is its own
    inst_sw_profile_sdr_ext_set_ext_value(profile, 5);
    inst_sw_profile_sdr_ext_set_sdr_sw_profile_len(profile, 99);
    return profile;
}

inst_sw_profile_sdr_ext *new_profile_of_size(uint32_t bytes)
{
    auto *const profile = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    inst_sw_profile_sdr_set_sdr_key(&sdr, strdup("default-sdr"));
    inst_sw_profile_info_set_version(&sdr.sw_profile, strdup(""));
    std::string text;
    for (std::size_t size; (size = encoding_of(*profile).size()) != bytes;) {
        text.resize(text.size() + bytes - size, 'x');
        std::free(sdr.sw_profile.version);
        sdr.sw_profile.version = strdup(text.c_str());
    }
    return profile;
}

std::string encoding_of(const inst_sw_profile_sdr_ext &profile)
{
    std::string bytes(zeld_inst_sw_profile_sdr_ext_encode_ext(&profile, nullptr, 0, 0, 0, 0), '\0');
    zeld_inst_sw_profile_sdr_ext_encode_ext(&profile, bytes.data(), static_cast<uint32_t>(bytes.size()), 0, 0, 0);
    return bytes;
}

CreateRequest::CreateRequest()
{
    inst_swp_package_set_name(&packages[0], names[0]);
    inst_swp_package_set_name(&packages[1], names[1]);
    inst_swp_package_set_is_sp_pkg(&packages[1], 1);
    sp_detail_set_sp_name(&packs[0], pack_names[0]);
    sp_detail_set_sp_rpms(&packs[0], rpms, 1);
    sp_detail_set_sp_name(&packs[1], pack_names[1]);
    serv_packs_set_service_packs(&set, packs, 2);
}

void RepositoryTest::SetUp()
{
    for (const char *const directory : {"/install_repo", "/tmp", "/misc"}) {
        empty_directory(directory);
    }
    hooks::reset();
    g_inst_common_debug_verbosity_level = 0;
    g_inst_common_debug_prefix = 0;
}

void RepositoryTest::TearDown()
{
    check_messages();
    hooks::reset();
    if (story.empty()) {
        return;
    }
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    const fs::path file =
        fs::path(SWP_TRANSCRIPTS) / (std::string(test.test_suite_name()) + "." + test.name() + ".txt");
    if (getenv("SWP_WRITE_TRANSCRIPTS") != nullptr) {
        write_file(file, story);
    }
    EXPECT_EQ(story, read_file(file));
}

uint64_t RepositoryTest::tell(const std::string &title, const std::function<uint64_t(char **)> &call)
{
    check_messages();
    hooks::messages.clear();
    hooks::events.clear();
    g_inst_common_debug_verbosity_level = 4;
    g_inst_common_debug_prefix = 2;
    testing::internal::CaptureStderr();
    Text text;
    const uint64_t rc = call(&text.ptr);
    hooks::disarm();
    g_inst_common_debug_verbosity_level = 0;
    std::istringstream debug(testing::internal::GetCapturedStderr());

    std::ostringstream out;
    out << "\n## " << title << "\nresult: " << std::hex << rc << std::dec << "\n";
    if (text.ptr != nullptr) {
        out << "text: " << text.ptr << "\n";
    }
    for (std::string line; std::getline(debug, line);) {
        out << "debug: " << without_changing_parts(line) << "\n";
    }
    for (const std::string &line : hooks::lines()) {
        out << "log: " << line << "\n";
    }
    for (const std::string &event : hooks::events) {
        out << "does: " << event << "\n";
    }
    std::set<std::string> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator("/install_repo")) {
        if (!entry.is_directory()) {
            files.insert(entry.path().string() + (entry.path().extension() == ".bin" ? size_text(entry) : ""));
        }
    }
    for (const std::string &file : files) {
        out << "file: " << file << "\n";
    }
    const std::string told = std::regex_replace(out.str(), std::regex("smu\\.\\w{6}"), "smu.XXXXXX");
    story += std::regex_replace(told, std::regex("((is NULL|dup str),? .*?)\\b\\d{1,3}(;|\n)"), "$1LINE$3");
    return rc;
}

void RepositoryTest::given_active_profile()
{
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    ASSERT_EQ(store(profile), 0U);
    inst_ldpath_free_swprofile_ext(&profile);
    hooks::reset();
}
