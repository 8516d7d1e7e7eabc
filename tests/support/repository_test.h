// What the tests of the store have in common: an empty repository in the private root, and verbs to work with it.
#pragma once

#include "support/hooks.h"

#include "verd_inst_ldpath.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

using Lines = std::vector<std::string>;

inline constexpr char GLOBAL_QX[] = "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-";

// An error text as an operation hands it out.
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
void write_file(const fs::path &path, const std::string &content); // with its directories

// Cleared heap memory.
template <class T> T *new_array(std::size_t count = 1)
{
    return static_cast<T *>(calloc(count, sizeof(T)));
}

// A heap list of heap texts; a null pointer stays one.
char **new_list(const std::vector<const char *> &texts);

// A package whose memory is its own.
inst_swp_package new_package(const char *name, const std::vector<const char *> &files = {}, uint32_t type = 1);

inst_sw_profile_sdr_ext *new_profile(const char *key = nullptr); // with nothing else

// A profile with every field set, and more than one element in each array; released with
// inst_ldpath_free_swprofile_ext().
inst_sw_profile_sdr_ext *new_full_profile();

// A QX profile of default-sdr whose encoding takes exactly that many bytes.
inst_sw_profile_sdr_ext *new_profile_of_size(uint32_t bytes);

std::string encoding_of(const inst_sw_profile_sdr_ext &profile);

// A full request for the active QX profile of default-sdr, and all that it points at.
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

// The active QX profile of default-sdr, as arguments; a call whose error text goes to err, as tell() wants it.
#define ACTIVE_QX "default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX
#define TELL(title, call) tell(title, [&]([[maybe_unused]] char **err) -> uint64_t { return call; })

// A test tells a story: each call with its result, error text, messages and commands in their order, and the files that
// it creates (+) and removes (-). A run must tell the story of transcripts/SUITE.TEST.txt, which is what people read.
class RepositoryTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Calls with the address of an error-text slot. Faults that were ordered are for this call only; those of failing()
    // are ordered when all is ready for the call, as allocations must be.
    uint64_t tell(const std::string &title, const std::function<uint64_t(char **)> &call, bool in_full = false);
    void failing(hooks::Function function, int nth = 1, int err = EIO) { faults.push_back({function, nth, err}); }
    void tell_line(const std::string &line) { story += line + "\n"; }
    std::string answer;                            // what a call hands out, if it is to be told
    void tell_content(const std::string &content); // of a profile, if it isn't what was told last

    // Stores an ordinary profile for (default-sdr, global, active, QX) and forgets what was said about it.
    void given_active_profile();

    static uint64_t store(inst_sw_profile_sdr_ext *profile, char **err = nullptr)
    {
        return inst_write_sdr_swprofile_to_file2("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile, err);
    }
    static uint64_t store_as(const char *key, uint8_t is_local, int32_t state, uint32_t vm_type, const Fetched &profile)
    {
        return inst_write_sdr_swprofile_to_file2(key, is_local, state, vm_type, profile.ptr, nullptr);
    }
    static uint64_t fetch(Fetched &fetched, char **err = nullptr)
    {
        return inst_ldpath_get_swprofile("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &fetched.ptr, err);
    }

    const std::string active_bin = std::string(GLOBAL_QX) + "active.bin";
    const std::string active_txt = std::string(GLOBAL_QX) + "active.txt";

private:
    struct Fault {
        hooks::Function function;
        int nth, err;
    };
    std::vector<Fault> faults;
    std::string story, shown_content;
    Lines events_told;
};
