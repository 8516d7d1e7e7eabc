// Shared by the tests of the library: an empty repository in the private root, profiles to work with, and transcripts.
#pragma once

#include "support/hooks.h"

#include "verd_inst_ldpath.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

// Paths of QX profiles of default-sdr, without state and extension.
inline constexpr char GLOBAL_QX[] = "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-";
inline constexpr char LOCAL_QX[] = "/install_repo/local/sdr/default-sdr/qx-swprofile-";
inline constexpr char FLAT_QX[] = "/install_repo/local/qx-swprofile-";

// A text that an operation returns.
struct Text {
    char *ptr = nullptr;
    ~Text() { std::free(ptr); }
    std::string str() const { return ptr == nullptr ? "" : ptr; }
};

struct Fetched {
    inst_sw_profile_sdr_ext *ptr = nullptr;
    ~Fetched() { inst_ldpath_free_swprofile_ext(&ptr); }
    inst_sw_profile_info &body() const { return ptr->sdr_sw_profile.sw_profile; }
};

std::string read_file(const fs::path &path);
void write_file(const fs::path &path, const std::string &content); // and creates its directories

// Cleared heap memory.
template <class T> T *new_array(std::size_t count = 1)
{
    return static_cast<T *>(calloc(count, sizeof(T)));
}

// A heap list of heap texts; a null pointer stays one.
char **new_list(const std::vector<const char *> &texts);

// A package that owns its memory.
inst_swp_package new_package(const char *name, const std::vector<const char *> &files = {}, uint32_t type = 1);

inst_sw_profile_sdr_ext *new_profile(const char *key = nullptr); // without any other field

// A profile in which each field is set in at least one record, except loc_id_2 of nodes. Its arrays have up to three
// elements. Released with inst_ldpath_free_swprofile_ext().
inst_sw_profile_sdr_ext *new_full_profile();

// A profile of default-sdr whose encoding has that many bytes.
inst_sw_profile_sdr_ext *new_profile_of_size(uint32_t bytes);

std::string encoding_of(const inst_sw_profile_sdr_ext &profile);

std::string shown(const char *text); // "(null)" for null; cut after 60 characters
std::string joined(char *const *list, uint32_t count);

// A request for the active QX profile of default-sdr with every member set, and the memory that it points to.
struct CreateRequest {
    CreateRequest();
    CreateRequest(const CreateRequest &) = delete;

    char key[12] = "default-sdr", lv_name[4] = "lv0", image[32] = "/images/image-1.4.0.iso", version[6] = "1.4.0";
    char aux_name[4] = "aux", names[2][16] = {"alpha-1.0-r1", "beta-1.0-r1"}, pack_names[2][4] = {"SP1", "SP2"};
    char rpm_c[2] = "c", rpm_a[2] = "a", rpm_b[2] = "b";
    char *rpms[3] = {rpm_c, rpm_a, rpm_b};
    inst_swp_package packages[2] = {};
    service_pack packs[2] = {};
    serv_packs set = {};
    swprofile_create_request request = {key,        0,       VERD_SWP_ACTIVE, lv_name,  image, rpms, 3,
                                        VERD_VM_QX, version, aux_name,        packages, 2,     &set, 1};
};

// What a call can return besides its result code. Owns the memory.
struct Answer {
    char *text = nullptr;
    char **list = nullptr;
    uint32_t count = 0;
    serv_packs *packs = nullptr;
    inst_sw_profile_sdr_ext *profile = nullptr;
    uint8_t flag = 7; // neither 0 nor 1: not set

    Answer() = default;
    Answer(const Answer &) = delete;
    ~Answer();
    std::string str() const;
};

// The active QX profile of default-sdr, as arguments.
#define ACTIVE_QX "default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX

// Records a call, which may use `a`, an Answer, and `err`, the address for its error text.
#define RECORD(title, call)                                                                                            \
    record(title, [&]([[maybe_unused]] Answer &a, [[maybe_unused]] char **err) -> uint64_t { return call; })

// A test can record a transcript, which must be that of transcripts/SUITE.TEST.txt: each call with its result code,
// error text and answer, messages and commands in their order, and the files that it creates (+) and deletes (-). A
// line that the test has recorded before is only counted. So is a message that differs from a recorded one only in
// names, paths and sizes.
class RepositoryTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    uint64_t record(const std::string &title, const std::function<uint64_t(Answer &, char **)> &call);
    void record_line(const std::string &line) { transcript += line + "\n"; }
    void record_content(const std::string &content);          // of a profile, if it has changed since the last time
    void record_checksum(const std::set<std::string> &texts); // without heads of DEBUG lines, numbers, paths, functions
    std::string output;                                       // of the call being recorded, if not in its Answer

    static uint64_t store(inst_sw_profile_sdr_ext *profile, char **err = nullptr)
    {
        return inst_write_sdr_swprofile_to_file2(ACTIVE_QX, profile, err);
    }
    static uint64_t store_as(const char *key, uint8_t is_local, int32_t state, uint32_t vm_type, const Fetched &profile)
    {
        return inst_write_sdr_swprofile_to_file2(key, is_local, state, vm_type, profile.ptr, nullptr);
    }
    static uint64_t fetch(Fetched &fetched, char **err = nullptr)
    {
        return inst_ldpath_get_swprofile(ACTIVE_QX, &fetched.ptr, err);
    }

    const std::string active_bin = std::string(GLOBAL_QX) + "active.bin";
    const std::string active_txt = std::string(GLOBAL_QX) + "active.txt";
    std::string transcript;

private:
    std::string recorded_content;
    std::set<std::string> recorded_lines;
};
