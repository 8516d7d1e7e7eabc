// Every allocation and every call into the system fails once in every operation. What may follow is an error with the
// disk as it was, success with everything done, or one of the outcomes that docs/contract.md lists for a store. That
// nothing leaks is the sanitizers' part.
#include "support/repository_test.h"

namespace
{

// What an operation handed out; all of it is the caller's.
struct Outcome {
    uint64_t rc = 0;
    inst_sw_profile_sdr_ext *profile = nullptr;
    char *path = nullptr;
    char *error = nullptr;
};

inst_sw_profile_sdr_ext *changed;  // what is stored
swprofile_create_request *request; // what is created

struct Operation {
    const char *name;
    enum Kind { Fetches, Names, Stores } kind;
    void (*run)(Outcome &);
};

const Operation OPERATIONS[] = {
    {"get QX", Operation::Fetches,
     [](Outcome &o) { o.rc = inst_ldpath_get_sdr_swprofile("default-sdr", VERD_SWP_ACTIVE, &o.profile); }},
    {"get", Operation::Fetches,
     [](Outcome &o) {
         o.rc = inst_ldpath_get_swprofile("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.profile, &o.error);
     }},
    {"get if exists", Operation::Fetches,
     [](Outcome &o) {
         o.rc = inst_ldpath_get_sw_profile_if_exists("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.profile);
     }},
    {"name file", Operation::Names,
     [](Outcome &o) { o.rc = inst_get_sdr_swprofile_file("s", &o.path, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.error); }},
    {"name twin", Operation::Names,
     [](Outcome &o) { o.rc = inst_get_sdr_swprofile_txt_file("/a/b.bin", &o.path, &o.error); }},
    {"name flag", Operation::Names,
     [](Outcome &o) { o.rc = inst_get_boot_active_swp_flag("s", &o.path, 0, VERD_VM_QX); }},
    {"store", Operation::Stores,
     [](Outcome &o) {
         o.rc = inst_ldpath_store_sdr_swprofile(changed, 0, VERD_SWP_ACTIVE, nullptr, VERD_VM_QX, &o.error);
     }},
    {"create", Operation::Stores, [](Outcome &o) { o.rc = inst_ldpath_create_sdr_swprofile(request); }},
};

// What is on disk of the active profile: its .bin, and its twin without the changing header.
struct Disk {
    std::string bin;
    std::string twin;
};

class FaultSweepTest : public RepositoryTest
{
protected:
    Disk disk() const
    {
        const std::string twin = read_file(active_txt);
        return {read_file(active_bin), twin.substr(std::min(twin.find("\n\n"), twin.size()))};
    }

    static void run(const Operation &operation, Outcome &outcome)
    {
        operation.run(outcome);
        hooks::disarm();
        const Text error = {outcome.error};
        const Text path = {outcome.path};
        const Fetched fetched = {outcome.profile};
        EXPECT_EQ(fetched.ptr != nullptr, operation.kind == Operation::Fetches && outcome.rc == 0);
        EXPECT_TRUE(path.ptr != nullptr || operation.kind != Operation::Names || outcome.rc != 0);
    }

    void check_store(hooks::Function function, uint64_t rc, const Disk &before, const Disk &after) const
    {
        const Disk found = disk();
        const bool is_there = fs::exists(active_bin);
        EXPECT_TRUE(!is_there || found.bin == before.bin || found.bin == after.bin);
        EXPECT_TRUE(is_there || function == (rc == 0 ? hooks::ALLOCATION : hooks::FWRITE)); // when it is removed
        EXPECT_TRUE(rc != 0 || !is_there || found.bin == after.bin);
        if (found.bin == before.bin) {
            EXPECT_EQ(found.twin, before.twin);
        } else if (rc == 0 && function == hooks::ALLOCATION) { // cut short
            EXPECT_TRUE(after.twin.starts_with(found.twin)) << found.twin;
        } else if (rc == 0) {
            EXPECT_EQ(found.twin, after.twin);
        }
    }
};

TEST_F(FaultSweepTest, EveryCallFailsOnce)
{
    CreateRequest create;
    request = &create.request;
    changed = new_full_profile();
    changed->ext_value = 77;
    given_active_profile();
    const Disk before = disk();
    for (const Operation &operation : OPERATIONS) {
        Outcome whole;
        run(operation, whole);
        ASSERT_EQ(whole.rc, 0U) << operation.name;
        const Disk after = disk();
        for (int function = 0; function < hooks::FUNCTION_COUNT; ++function) {
            const auto failing = static_cast<hooks::Function>(function);
            for (int nth = 1; nth != 0; ++nth) {
                SCOPED_TRACE(std::string(operation.name) + ", function " + std::to_string(function) + ", call " +
                             std::to_string(nth));
                write_file(active_bin, before.bin);
                write_file(active_txt, before.twin);
                hooks::reset();
                hooks::fail(failing, nth, ENOMEM);
                Outcome outcome;
                run(operation, outcome);
                if (!hooks::orders[failing].fired) {
                    EXPECT_EQ(outcome.rc, 0U);
                    nth = -1; // there are no more calls
                } else if (operation.kind == Operation::Stores) {
                    check_store(failing, outcome.rc, before, after);
                } else {
                    EXPECT_EQ(disk().bin, before.bin);
                }
            }
        }
    }
    inst_ldpath_free_swprofile_ext(&changed);
}

} // namespace
