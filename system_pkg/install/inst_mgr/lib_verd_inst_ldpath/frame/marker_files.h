// Files whose existence changes the library's behaviour: a switch for support engineers, and faults for system tests.
#pragma once

#include "frame/report.h"

// While it exists, service-pack code logs its steps in detail.
inline constexpr char ENABLE_SP_DEBUGS[] = "/tmp/enable_sp_debugs";

// Created by a system test: the next naming of a profile file fails.
inline constexpr char INVALID_PARTITION_TYPE_TEST_FILE[] = "/tmp/err_msg_UT_stub_invalid_partition_type.txt";

// Created by a system test: the next adding of a package under the new rules fails at its search for service packs,
// even if sp_source is 0.
inline constexpr char SP_LOOKUP_TEST_FILE[] = "/tmp/emi_sp_get_rpm_names_failure";

// Created by a system test: the next adding of service packs fails after decoding the profile.
inline constexpr char DECODE_TEST_FILE[] = "/tmp/err_msg_UT_stub_decode_swp";

// Created by a system test of high availability: the next adding of a package for nodes ends the process, so that the
// install manager is restarted.
inline constexpr char RESPAWN_TEST_FILE[] = "/tmp/inst_ut_inst_mgr_respawn";

bool marker_exists(const char *path);

// Returns whether the file of a test exists, and deletes it, so that it takes effect once.
bool take_test_file(const char *path);

// Reports a message of the service-pack code while ENABLE_SP_DEBUGS exists.
#define REPORT_SP_DEBUG(...)                                                                                           \
    do {                                                                                                               \
        if (marker_exists(ENABLE_SP_DEBUGS)) {                                                                         \
            REPORT(__VA_ARGS__);                                                                                       \
        }                                                                                                              \
    } while (false)
