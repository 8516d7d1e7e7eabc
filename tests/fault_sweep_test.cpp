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

inst_sw_profile_sdr_ext *changed; // what is stored

using Getter = uint64_t (*)(const char *, int32_t, inst_sw_profile_sdr_ext **);

template <Getter get> void run_getter(Outcome &outcome)
{
    outcome.rc = get("default-sdr", VERD_SWP_ACTIVE, &outcome.profile);
}

void get_general(Outcome &outcome)
{
    outcome.rc =
        inst_ldpath_get_swprofile("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &outcome.profile, &outcome.error);
}

void get_if_exists(Outcome &outcome)
{
    outcome.rc = inst_ldpath_get_sw_profile_if_exists("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &outcome.profile);
}

void name_file(Outcome &outcome)
{
    outcome.rc = inst_get_sdr_swprofile_file("s", &outcome.path, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &outcome.error);
}

void name_twin(Outcome &outcome)
{
    outcome.rc = inst_get_sdr_swprofile_txt_file("/a/b.bin", &outcome.path, &outcome.error);
}

void name_flag(Outcome &outcome)
{
    outcome.rc = inst_get_boot_active_swp_flag("s", &outcome.path, 0, VERD_VM_QX);
}

void store(Outcome &outcome)
{
    outcome.rc = inst_ldpath_store_sdr_swprofile(changed, 0, VERD_SWP_ACTIVE, nullptr, VERD_VM_QX, &outcome.error);
}

void create(Outcome &outcome)
{
    char key[] = "default-sdr", image[] = "x.iso", name[] = "a-1-1", pack[] = "SP1";
    inst_swp_package package = {};
    record::set<&inst_swp_package::name>(package, name);
    record::set<&inst_swp_package::is_sp_pkg>(package, 1);
    service_pack packs[1] = {};
    record::set<&service_pack::sp_name>(packs[0], pack);
    serv_packs set = {packs, 1, {1}};
    swprofile_create_request request = {};
    request.sdr_key = key;
    request.image = image;
    request.part_type = VERD_SWP_ACTIVE;
    request.vm_type = VERD_VM_QX;
    request.packages = &package;
    request.packages_count = 1;
    request.serv_packs = &set;
    outcome.rc = inst_ldpath_create_sdr_swprofile(&request);
}

struct Operation {
    const char *name;
    enum Kind { Fetches, Names, Stores } kind;
    void (*run)(Outcome &);
};

const Operation OPERATIONS[] = {
    {"get QX", Operation::Fetches, run_getter<inst_ldpath_get_sdr_swprofile>},
    {"get", Operation::Fetches, get_general},
    {"get if exists", Operation::Fetches, get_if_exists},
    {"name file", Operation::Names, name_file},
    {"name twin", Operation::Names, name_twin},
    {"name flag", Operation::Names, name_flag},
    {"store", Operation::Stores, store},
    {"create", Operation::Stores, create},
};

class FaultSweepTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        changed = new_full_profile();
        changed->ext_value = 77;
        given_active_profile();
        before = read_file(active_bin);
        twin_before = read_file(active_txt);
    }
    void TearDown() override
    {
        inst_ldpath_free_swprofile_ext(&changed);
        RepositoryTest::TearDown();
    }

    std::string run(const Operation &operation, Outcome &outcome)
    {
        operation.run(outcome);
        hooks::disarm();
        const Text error = {outcome.error};
        const Text path = {outcome.path};
        const Fetched fetched = {outcome.profile};
        if (operation.kind == Operation::Fetches) {
            EXPECT_EQ(outcome.rc == 0, fetched.ptr != nullptr);
        } else if (operation.kind == Operation::Names && outcome.rc == 0) {
            EXPECT_NE(path.ptr, nullptr);
        }
        return error.str();
    }

    static std::string body_of(const std::string &twin)
    {
        return twin.substr(std::min(twin.find("\n\n"), twin.size()));
    }

    void check_store(hooks::Function function, const Outcome &outcome, const std::string &error)
    {
        const bool is_there = fs::exists(active_bin);
        const bool is_old = is_there && read_file(active_bin) == before;
        const bool is_new = is_there && read_file(active_bin) == after;
        EXPECT_TRUE(!is_there || is_old || is_new);
        if (outcome.rc == 0 && !is_new) { // the one failure of a single call that is reported as success
            EXPECT_TRUE(!is_there && function == hooks::ALLOCATION) << error;
        }
        if (outcome.rc != 0 && !is_there) {
            EXPECT_EQ(function, hooks::FWRITE);
        }
        const std::string twin = read_file(active_txt);
        if (is_old) {
            EXPECT_EQ(twin, twin_before);
        } else if (outcome.rc == 0) { // whole, or cut short for lack of memory
            EXPECT_TRUE(body_of(twin) == body_of(twin_after) ||
                        (function == hooks::ALLOCATION && body_of(twin_after).starts_with(body_of(twin))))
                << twin;
        }
    }

    std::string before;
    std::string twin_before;
    std::string after;
    std::string twin_after;
};

TEST_F(FaultSweepTest, EveryCallFailsOnce)
{
    for (const Operation &operation : OPERATIONS) {
        Outcome whole;
        run(operation, whole);
        ASSERT_EQ(whole.rc, 0U) << operation.name;
        after = read_file(active_bin);
        twin_after = read_file(active_txt);
        for (int function = 0; function < hooks::FUNCTION_COUNT; ++function) {
            const auto failing = static_cast<hooks::Function>(function);
            for (int nth = 1;; ++nth) {
                SCOPED_TRACE(std::string(operation.name) + ", " + "function " + std::to_string(function) + ", call " +
                             std::to_string(nth));
                write_file(active_bin, before);
                write_file(active_txt, twin_before);
                hooks::reset();
                hooks::fail(failing, nth, ENOMEM);
                Outcome outcome;
                const std::string error = run(operation, outcome);
                if (!hooks::orders[failing].fired) {
                    EXPECT_EQ(outcome.rc, 0U);
                    break;
                }
                if (operation.kind == Operation::Stores) {
                    check_store(failing, outcome, error);
                } else {
                    EXPECT_EQ(read_file(active_bin), before);
                }
            }
        }
    }
}

} // namespace
