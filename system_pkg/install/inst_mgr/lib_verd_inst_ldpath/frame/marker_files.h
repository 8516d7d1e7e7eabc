// Files whose mere presence changes what the library does: switches of support engineers, and faults that system tests
// order by creating a file.
#pragma once

#include "frame/report.h"

// While it exists, service-pack code reports what it does in detail.
inline constexpr char ENABLE_SP_DEBUGS[] = "/tmp/enable_sp_debugs";

// Created by a system test: the next naming of a profile file fails.
inline constexpr char INVALID_PARTITION_TYPE_TEST_FILE[] = "/tmp/err_msg_UT_stub_invalid_partition_type.txt";

// Created by a system test: the next adding of a package under the new rules fails where its service packs are
// searched, be there a source of them or not.
inline constexpr char SP_LOOKUP_TEST_FILE[] = "/tmp/emi_sp_get_rpm_names_failure";

// Created by a system test: the next adding of service packs fails where the profile is decoded.
inline constexpr char DECODE_TEST_FILE[] = "/tmp/err_msg_UT_stub_decode_swp";

// Created by a system test of high availability: adding a package for nodes ends the process, so that the install
// manager is started anew.
inline constexpr char RESPAWN_TEST_FILE[] = "/tmp/inst_ut_inst_mgr_respawn";

// Does the file exist?
bool marker_exists(const char *path);

// Does the file of a test exist? If so it is deleted, so that it fires once.
bool test_file_fires(const char *path);

// A message of the service-pack code that is reported only while its debug switch is on.
#define REPORT_SP_DEBUG(...)                                                                                           \
    do {                                                                                                               \
        if (marker_exists(ENABLE_SP_DEBUGS)) {                                                                         \
            REPORT(__VA_ARGS__);                                                                                       \
        }                                                                                                              \
    } while (false)
