// What the tests of the store have in common: an empty repository in the private root, and verbs to work with it.
#pragma once

#include "support/hooks.h"

#include "verd_inst_ldpath.h"
#include "zeld/record_fields.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
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

// What an operation says that takes an error-text slot.
struct Result {
    uint64_t rc;
    std::string text;
    bool operator==(const Result &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const Result &result)
    {
        return out << std::hex << result.rc << std::dec << " \"" << result.text << "\"";
    }
};

template <class Call> Result result_of(Call call)
{
    Text text;
    const uint64_t rc = call(&text.ptr);
    return {rc, text.str()};
}

struct Fetched {
    inst_sw_profile_sdr_ext *ptr = nullptr;
    ~Fetched() { inst_ldpath_free_swprofile_ext(&ptr); }
    inst_sw_profile_info &body() const { return ptr->sdr_sw_profile.sw_profile; }
};

std::string read_file(const fs::path &path);
void write_file(const fs::path &path, const std::string &content); // with its directories

// A heap list of heap texts; a null pointer stays one.
char **new_list(const std::vector<const char *> &texts);

// A package whose memory is its own.
inst_swp_package new_package(const char *name, const std::vector<const char *> &files = {}, uint32_t type = 1);

// A profile with every field set, and more than one element in each array; released with
// inst_ldpath_free_swprofile_ext().
inst_sw_profile_sdr_ext *new_full_profile();

// A QX profile of default-sdr whose encoding takes exactly that many bytes.
inst_sw_profile_sdr_ext *new_profile_of_size(uint32_t bytes);

std::string encoding_of(const inst_sw_profile_sdr_ext &profile);

class RepositoryTest : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Stores an ordinary profile for (default-sdr, global, active, QX) and forgets what was said about it.
    void given_active_profile();

    static uint64_t store(inst_sw_profile_sdr_ext *profile, char **err = nullptr)
    {
        return inst_write_sdr_swprofile_to_file2("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile, err);
    }
    static uint64_t fetch(Fetched &fetched)
    {
        return inst_ldpath_get_swprofile("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &fetched.ptr, nullptr);
    }

    const std::string active_bin = std::string(GLOBAL_QX) + "active.bin";
    const std::string active_txt = std::string(GLOBAL_QX) + "active.txt";
};
