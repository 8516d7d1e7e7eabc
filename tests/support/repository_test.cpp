#include "support/repository_test.h"

#include <cstdlib>
#include <cstring>
#include <ftw.h>
#include <map>
#include <regex>
#include <set>

namespace
{

constexpr std::size_t WIDTH = 240; // of a call that is printed in one line

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
        EXPECT_NE(message.text, "") << message.format << " is traced, but not logged";
    }
}

std::set<std::string> files_of_repository()
{
    std::set<std::string> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator("/install_repo")) {
        if (!entry.is_directory()) {
            files.insert(entry.path());
        }
    }
    return files;
}

Lines lines_of(const std::string &text)
{
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Lines that follow each other and differ in numbers and their last word only are put into one: "> unlink a | b".
std::string folded(const std::string &told)
{
    std::string text, last, last_form;
    for (const std::string &line : lines_of(told)) {
        static const std::regex numbers("\\d+");
        const std::string form = std::regex_replace(line.substr(0, line.rfind(' ')), numbers, "");
        if (line.starts_with("  ") && form == last_form) {
            const auto differs = std::mismatch(line.begin(), line.end(), last.begin(), last.end()).first;
            const std::size_t word = line.rfind(' ', static_cast<std::size_t>(differs - line.begin()) - 1) + 1;
            text += " | " + line.substr(word);
        } else {
            text += (text.empty() ? "" : "\n") + line;
        }
        last = line;
        last_form = form;
    }
    return text + "\n";
}

// Steps that all operations share, of which PersistTest.SharedSteps tells every line. Elsewhere they are one line, or
// none for the naming of the ordinary profile; if they differ in anything, they are told in full.
std::string with_shared_steps(std::string told)
{
    static const std::pair<std::regex, const char *> steps[] = {
        {std::regex("Software profile path for VM \\d \\(\\w+\\), sdr \\S+ is (\\S+)\n"), "path \\1\n"},
        {std::regex("Writing SW profile to (\\S+), len=(\\d+)\n  > sync\n  > shell sync\n  > sync\n  > sync\n"),
         "written \\1, \\2 bytes\n"},
        {std::regex("Storing \\w+ (\\w+) SW Profile for [A-Z ]+ \\(key=\\S+\\), part_short_name=null\n"
                    "  path (\\S*-\\1.bin)\n  written \\2, ",
                    std::regex::icase),
         "stored \\2, "},
        {std::regex("  (stored|written) /install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-active.bin,"), "  \\1"},
        {std::regex("  path (\\S+)\n  Error! Can't open file \\1, 2 \\(No such file or directory\\)\n"
                    "  Error! inst_decode_sw_profile_ext failed, 4000127aca100002\n"),
         "  no file \\1\n"},
        {std::regex("  inst_ldpath_get_sdr_swprofile: sdr_key is \\S+\n  (path|no file)"), "  \\1"},
        {std::regex("  path /install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-active.bin\n"), ""},
        {std::regex("  path (\\S+)\n  (stored|written) \\1,"), "  \\2 \\1,"},
        {std::regex("  ([-+]) (\\S+)\\.bin\n  \\1 \\2.txt\n"), "  \\1 \\2.bin, .txt\n"},
        {std::regex("  instcomm: \\w+: no service packs\n"), ""},
        {std::regex("smu\\.\\w{6}"), "smu.XXXXXX"},
        {std::regex("((is NULL|dup str),? .*?)\\b\\d{1,3}(;|\n)"), "\\1LINE\\3"},
    };
    for (const auto &[step, line] : steps) {
        told = std::regex_replace(told, step, line, std::regex_constants::format_sed);
    }
    return folded(told);
}

// Lines that follow each other in what has been told before, too, are put into one.
std::string without_repetition(Lines &told, const Lines &lines)
{
    std::string text;
    std::size_t at = told.size(), same = 0;
    told.insert(told.end(), lines.begin(), lines.end());
    for (; at < told.size(); at += same) {
        same = 1;
        for (std::size_t former = 0; former < at; ++former) {
            std::size_t count = 0;
            while (at + count < told.size() && told[former + count] == told[at + count]) {
                ++count;
            }
            same = std::max(same, count);
        }
        text += same < 2 ? told[at] + "\n"
                         : "  " + std::to_string(same) + " lines as above, from:" + told[at].substr(1) + "\n";
    }
    return text;
}

// The differing lines of two stories, without their common beginning and end, the expected ones first.
std::string difference(const std::string &expected, const std::string &told)
{
    Lines before = lines_of(expected), after = lines_of(told);
    const auto [first, other] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const auto [last, other_last] =
        std::mismatch(before.rbegin(), std::reverse_iterator(first), after.rbegin(), std::reverse_iterator(other));
    std::string text = "line " + std::to_string(first - before.begin() + 1) + ":\n";
    for (auto at = first; at != last.base(); ++at) {
        text += "- " + *at + "\n";
    }
    for (auto at = other; at != other_last.base(); ++at) {
        text += "+ " + *at + "\n";
    }
    return text;
}

template <class Record>
void set_list(void (*set)(Record *, char **, uint32_t), Record &record, const std::vector<const char *> &texts)
{
    set(&record, new_list(texts), static_cast<uint32_t>(texts.size()));
}

void fill_body(inst_sw_profile_info &body)
{
    auto *const packages = new_array<inst_swp_package>(2);
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

    auto *const details = new_array<sp_detail>(2);
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
    auto *const list = new_array<char *>(texts.size());
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

inst_sw_profile_sdr_ext *new_profile(const char *key)
{
    auto *const profile = new_array<inst_sw_profile_sdr_ext>();
    if (key != nullptr) {
        inst_sw_profile_sdr_set_sdr_key(&profile->sdr_sw_profile, strdup(key));
    }
    return profile;
}

inst_sw_profile_sdr_ext *new_full_profile()
{
    auto *const profile = new_profile("default-sdr");
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    inst_sw_profile_sdr_set_vm_type(&sdr, VERD_VM_QX);
    fill_body(sdr.sw_profile);

    auto *const locations = new_array<inst_sw_profile_loc>();
    auto *const nodes = new_array<inst_node_loc>(2);
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
    auto *const profile = new_profile("default-sdr");
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
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
    g_inst_pkg_fmt_info.is_new_format = 0;
}

void RepositoryTest::TearDown()
{
    check_messages();
    hooks::reset();
    if (story.empty()) {
        return;
    }
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test.test_suite_name()) + "." + test.name();
    const fs::path file = fs::path(SWP_TRANSCRIPTS) / (name + ".txt");
    if (getenv("SWP_WRITE_TRANSCRIPTS") != nullptr) {
        write_file(file, story);
    }
    const std::string expected = read_file(file);
    EXPECT_TRUE(story == expected) << file.string() << ", " << difference(expected, story)
                                   << "To write it again: SWP_WRITE_TRANSCRIPTS=1 scripts/sandbox "
                                      "build/dev/bin/swprofile_tests --gtest_filter="
                                   << name;
}

uint64_t RepositoryTest::tell(const std::string &title, const std::function<uint64_t(char **)> &call, bool in_full)
{
    check_messages();
    hooks::messages.clear();
    hooks::events.clear();
    const std::set<std::string> before = files_of_repository();
    Text text;
    for (const Fault &fault : std::exchange(faults, {})) {
        hooks::fail(fault.function, fault.nth, fault.err);
    }
    const uint64_t rc = call(&text.ptr);
    hooks::disarm();
    const std::set<std::string> after = files_of_repository();

    std::ostringstream out;
    out << title << ": " << std::hex << rc << (text.ptr == nullptr ? "" : " ") << text.str();
    out << (answer.empty() ? "" : " = ") << std::exchange(answer, "") << "\n";
    for (const std::string &event : hooks::events) {
        out << "  " << event << "\n";
    }
    for (const std::string &file : before) {
        out << (after.contains(file) ? "" : "  - " + file + "\n");
    }
    for (const std::string &file : after) {
        out << (before.contains(file) ? "" : "  + " + file + "\n");
    }
    std::string told = in_full ? out.str() : with_shared_steps(out.str());
    const std::size_t head = told.find('\n') + 1;
    told.replace(head, told.npos, without_repetition(events_told, lines_of(told.substr(head))));
    const bool is_short = told.size() < WIDTH; // a line then
    story += is_short ? std::regex_replace(told, std::regex("\n  "), " | ") : told;
    return rc;
}

void RepositoryTest::tell_content(const std::string &content)
{
    if (std::exchange(shown_content, content) == content) {
        return;
    }
    const std::size_t last_line = story.empty() ? 0 : story.rfind('\n', story.size() - 2) + 1;
    if (story.empty() || story.size() - last_line + content.size() > WIDTH) {
        tell_line("  = " + content);
    } else {
        story.replace(story.size() - 1, 1, " | = " + content + "\n");
    }
}

void RepositoryTest::given_active_profile()
{
    const Fetched profile = {new_full_profile()};
    ASSERT_EQ(store(profile.ptr), 0U);
    hooks::reset();
}
