// Several processes at one profile: a reader gets a whole profile or an error, never a mixture.
#include "support/repository_test.h"

#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

using ProcessTest = RepositoryTest;

[[noreturn]] void write_often(const Fetched &profile)
{
    for (int i = 0; i < 150; ++i) {
        hooks::reset(); // a record of each attempt isn't wanted
        inst_write_sdr_swprofile_to_file2(ACTIVE_QX, profile.ptr, nullptr);
    }
    _exit(0);
}

TEST_F(ProcessTest, WritersAndReadersAtOnce)
{
    const Fetched written[] = {
        {new_profile_of_size(60000)}, {new_profile_of_size(60000)}, {new_profile_of_size(200001)}};
    std::vector<std::string> encodings;
    for (const Fetched &profile : written) {
        char *const text = profile.body().version;
        std::memset(text, 'a' + static_cast<int>(encodings.size()), std::strlen(text));
        encodings.push_back(encoding_of(*profile.ptr));
    }
    ASSERT_EQ(store(written[0].ptr), 0U);
    for (const Fetched &profile : written) {
        if (fork() == 0) {
            write_often(profile);
        }
    }
    int whole = 0, refused = 0;
    for (std::size_t running = std::size(written); running > 0;) {
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
}

} // namespace
