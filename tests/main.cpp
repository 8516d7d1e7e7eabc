// Runs the tests, in the private root only: they create and delete below /install_repo, /tmp and /misc.
#include "verd_inst_ldpath.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/vfs.h>

#include <linux/magic.h>

int main(int argc, char **argv)
{
    struct statfs repository;
    const char *const sandbox = getenv("SWP_SANDBOX");
    const bool is_in_place = sandbox != nullptr && std::strcmp(sandbox, "in-place") == 0;
    if (sandbox == nullptr || statfs("/install_repo", &repository) != 0 ||
        (repository.f_type != TMPFS_MAGIC && !is_in_place)) {
        std::fprintf(stderr, "%s: run this through scripts/sandbox\n", argv[0]);
        return 2;
    }
    setenv("LC_ALL", "C", 1); // commands speak English
    testing::InitGoogleTest(&argc, argv);
    if (verd_inst_ldpath_lib_init(0, nullptr) != 0) {
        return 1;
    }
    return RUN_ALL_TESTS();
}
