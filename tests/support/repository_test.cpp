#include "support/repository_test.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <regex>
#include <sstream>

namespace
{

constexpr std::size_t WIDTH = 240; // a call that fits into it is one line of the transcript

// Every message has a number of its own, the trace gets the argument types of its format, and it is also logged.
void check_messages()
{
    static std::map<uint32_t, std::string> format_of;
    for (const hooks::Message &message : hooks::messages) {
        EXPECT_EQ(format_of.emplace(message.site, message.format).first->second, message.format) << message.site;
        std::string types; // s: a text; d, D: a number of one or two words
        for (std::size_t at = 0; (at = message.format.find('%', at)) != std::string::npos; ++at) {
            const char letter = message.format[at + 1];
            types += letter == 's' ? 's' : letter == 'd' || letter == 'u' ? 'd' : 'D';
        }
        EXPECT_EQ(message.arg_types, types) << message.format;
        const auto count = [&types](char type) { return std::count(types.begin(), types.end(), type); };
        EXPECT_EQ(message.size_class, 4 + count('d') + 2 * count('D')) << message.format;
        EXPECT_EQ(message.has_strings, count('s') == 0 ? 0U : 1U) << message.format;
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

// Abbreviates paths and common sequences of steps. Removes three common messages. Replaces line numbers
// and random names.
std::string abbreviated(std::string text)
{
    static const std::pair<std::regex, const char *> abbreviations[] = {
        {std::regex(GLOBAL_QX), "global:"},
        {std::regex(LOCAL_QX), "local:"},
        {std::regex(FLAT_QX), "flat:"},
        {std::regex(
             "  (Software profile path for VM|Storing .*part_short_name=null|instcomm: \\w+: no service packs).*\n"),
         ""},
        {std::regex("Writing SW profile to (\\S+), len=(\\d+)\n  > sync\n  > shell sync\n  > sync\n  > sync\n"),
         "written \\1, \\2 bytes\n"},
        {std::regex(
             "Error! Can't open file (\\S+), 2 .*\n  Error! inst_decode_sw_profile_ext failed, 4000127aca100002\n"),
         "no file \\1\n"},
        {std::regex("smu\\.\\w{6}"), "smu.XXXXXX"},
        {std::regex("((is NULL|dup str),? [^\n;]*?)\\b\\d{1,3}(?=[;\n]|$)"), "\\1LINE"},
    };
    for (const auto &[pattern, abbreviation] : abbreviations) {
        text = std::regex_replace(text, pattern, abbreviation, std::regex_constants::format_sed);
    }
    return text;
}

// Lists the elements of a set that the other set does not have.
std::string difference(const char *sign, const std::set<std::string> &set, const std::set<std::string> &other)
{
    std::string list;
    for (const std::string &element : set) {
        list += other.contains(element) ? "" : " " + element;
    }
    return list.empty() ? "" : sign + list + "\n";
}

// The title of a call, and the lines that are not known yet. A message that differs only in names, paths and sizes of
// profiles is known.
std::string without_known_lines(const std::string &text, std::set<std::string> &known)
{
    static const std::regex changing("\\S*(-\\d|/|global:|local:|flat:|\\bSP\\d)\\S*|\\d+ bytes");
    std::istringstream stream(text);
    std::string title, lines;
    std::getline(stream, title);
    int known_count = 0;
    for (std::string line; std::getline(stream, line);) {
        const bool is_message = std::string("+->").find(line[2]) == std::string::npos;
        if (known.insert(is_message ? std::regex_replace(line, changing, "") : line).second) {
            lines += "\n" + line;
        } else {
            ++known_count;
        }
    }
    return title + (known_count == 0 ? "" : ", " + std::to_string(known_count) + " as above") + lines + "\n";
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

    inst_sw_profile_sdr_ext_set_sdr_sw_profile(profile, sdr); // sets its own presence bit
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

std::string shown(const char *text)
{
    const std::string whole = text == nullptr ? "(null)" : text;
    return whole.size() > 60 ? whole.substr(0, 60) + "..." : whole;
}

std::string joined(char *const *list, uint32_t count)
{
    std::string text;
    for (uint32_t i = 0; i < count; ++i) {
        text += " " + shown(list[i]);
    }
    return text;
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

Answer::~Answer()
{
    std::free(text);
    inst_free_string_list(count, list);
    free_service_pack(packs);
    inst_ldpath_free_swprofile_ext(&profile);
}

std::string Answer::str() const
{
    std::string all = text == nullptr ? "" : std::string(text) + " ";
    all += list == nullptr && count == 0 ? "" : std::to_string(count) + ":" + joined(list, count) + " ";
    all += packs != nullptr && packs->service_packs == nullptr ? "no SPs " : "";
    for (uint32_t i = 0; packs != nullptr && i < packs->service_packs_count; ++i) {
        const service_pack &pack = packs->service_packs[i];
        all += "SP " + shown(pack.sp_name) + " of " + std::to_string(pack.sp_rpms_count) + " ";
    }
    all += flag == 7 ? "" : "flag " + std::to_string(flag) + " ";
    return all.substr(0, all.find_last_not_of(' ') + 1);
}

void RepositoryTest::SetUp()
{
    // File systems mounted below these directories, such as the checkout itself, remain.
    static_cast<void>(std::system("find /install_repo /tmp /misc -xdev -mindepth 1 -delete 2>/dev/null"));
    hooks::reset();
    g_inst_common_debug_verbosity_level = 0;
    g_inst_common_debug_prefix = 0;
    g_inst_pkg_fmt_info.is_new_format = 0;
}

void RepositoryTest::TearDown()
{
    check_messages();
    hooks::reset();
    if (transcript.empty()) {
        return;
    }
    const testing::TestInfo &test = *testing::UnitTest::GetInstance()->current_test_info();
    const std::string name = std::string(test.test_suite_name()) + "." + test.name();
    const std::string file = SWP_TRANSCRIPTS "/" + name + ".txt";
    write_file(getenv("SWP_WRITE_TRANSCRIPTS") != nullptr ? file : "/tmp/transcript", transcript);
    const bool is_same = read_file(file) == transcript;
    if (!is_same) {
        static_cast<void>(std::system(("diff -u " + file + " /tmp/transcript").c_str())); // prints the difference
    }
    EXPECT_TRUE(is_same)
        << "To write it again: SWP_WRITE_TRANSCRIPTS=1 scripts/sandbox build/dev/bin/swprofile_tests --gtest_filter="
        << name;
}

uint64_t RepositoryTest::record(const std::string &title, const std::function<uint64_t(Answer &, char **)> &call)
{
    check_messages();
    hooks::messages.clear();
    hooks::events.clear();
    const std::set<std::string> before = files_of_repository();
    Text text;
    Answer answer;
    const uint64_t rc = call(answer, &text.ptr);
    hooks::disarm();
    const std::set<std::string> after = files_of_repository();

    std::ostringstream out;
    out << title << ": " << std::hex << rc << (text.ptr == nullptr ? "" : " ") << text.str();
    output = answer.str() + output;
    out << (output.empty() ? "" : " = ") << std::exchange(output, "") << "\n";
    for (const std::string &event : hooks::events) {
        out << "  " << event << "\n";
    }
    out << difference("  -", before, after) << difference("  +", after, before);
    const std::string lines = without_known_lines(abbreviated(out.str()), recorded_lines);
    transcript += lines.size() < WIDTH ? std::regex_replace(lines, std::regex("\n  "), " | ") : lines;
    return rc;
}

void RepositoryTest::record_content(const std::string &content)
{
    if (std::exchange(recorded_content, content) == content) {
        return;
    }
    const std::size_t last_line = transcript.empty() ? 0 : transcript.rfind('\n', transcript.size() - 2) + 1;
    if (transcript.empty() || transcript.size() - last_line + content.size() > WIDTH) {
        record_line("  = " + content);
    } else {
        transcript.replace(transcript.size() - 1, 1, " | = " + content + "\n");
    }
}

void RepositoryTest::record_checksum(const std::set<std::string> &texts)
{
    static const std::regex changing("DEBUG .*? : |/\\S+|inst[a-z]*_\\w+|[0-9a-f]*[0-9][0-9a-f]*");
    std::set<std::string> wordings;
    for (const std::string &text : texts) {
        wordings.insert(std::regex_replace(text, changing, ""));
    }
    uint64_t sum = 14695981039346656037U; // FNV-1a
    for (const std::string &wording : wordings) {
        std::printf("%s\n", wording.c_str()); // to be compared with those of a former build
        for (const char letter : wording) {
            sum = (sum ^ static_cast<unsigned char>(letter)) * 1099511628211U;
        }
    }
    record_line("checksum of " + std::to_string(wordings.size()) + " texts: " + std::to_string(sum));
}
