// Several processes at one profile: a reader gets a whole profile or an error, never a mixture.
#include "support/repository_test.h"

#include <sys/wait.h>
#include <unistd.h>

namespace
{

using ProcessTest = RepositoryTest;

inst_sw_profile_sdr_ext *new_profile_by(char writer, uint32_t size)
{
    inst_sw_profile_sdr_ext *const profile = new_profile_of_size(size);
    for (char *at = profile->sdr_sw_profile.sw_profile.version; *at != '\0'; ++at) {
        *at = writer;
    }
    return profile;
}

[[noreturn]] void write_often(const inst_sw_profile_sdr_ext &profile)
{
    for (int i = 0; i < 150; ++i) {
        hooks::reset(); // a record of each attempt isn't wanted
        inst_write_sdr_swprofile_to_file2("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX,
                                          const_cast<inst_sw_profile_sdr_ext *>(&profile), nullptr);
    }
    _exit(0);
}

TEST_F(ProcessTest, WritersAndReadersAtOnce)
{
    inst_sw_profile_sdr_ext *written[] = {new_profile_by('a', 60000), new_profile_by('b', 60000),
                                          new_profile_by('c', 200001)};
    std::vector<std::string> encodings;
    for (const inst_sw_profile_sdr_ext *profile : written) {
        encodings.push_back(encoding_of(*profile));
    }
    ASSERT_EQ(store(written[0]), 0U);
    std::vector<pid_t> writers;
    for (const inst_sw_profile_sdr_ext *profile : written) {
        const pid_t child = fork();
        if (child == 0) {
            write_often(*profile);
        }
        writers.push_back(child);
    }
    int whole = 0;
    int refused = 0;
    for (std::size_t running = writers.size(); running > 0;) {
        hooks::reset();
        Fetched fetched;
        if (fetch(fetched) == 0) {
            ++whole;
            EXPECT_NE(std::find(encodings.begin(), encodings.end(), encoding_of(*fetched.ptr)), encodings.end());
        } else {
            ++refused;
            EXPECT_EQ(fetched.ptr, nullptr);
        }
        for (int status = 0; running > 0 && waitpid(-1, &status, WNOHANG) > 0; --running) {
            EXPECT_EQ(status, 0);
        }
    }
    EXPECT_GT(whole, 0);
    EXPECT_GT(whole + refused, 10);
    for (inst_sw_profile_sdr_ext *profile : written) {
        inst_ldpath_free_swprofile_ext(&profile);
    }
}

} // namespace
