// Uses one repository from eight processes or nine threads at once, without locks, as careless install managers would:
//     load processes SECONDS    stores, edits, promotes, copies and reads
//     load threads SECONDS      one thread stores, eight fetch, query and compare
// A profile that is fetched must be one that somebody stored, never a mixture. Runs in the private root.
#include "verd_inst_ldpath.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#define QX(state) "default-sdr", 0, state, VERD_VM_QX

// The library sleeps before it tries again to write a file.
extern "C" unsigned int sleep(unsigned int)
{
    usleep(500);
    return 0;
}

namespace
{

constexpr uint32_t PACKAGES = 1000; // several blocks of the file
constexpr int32_t STATES[] = {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, VERD_SWP_PREPARED};

std::atomic<int> faults = 0;
std::atomic<unsigned> profiles_read = 0;

std::string package_of(const std::string &number)
{
    return "p" + number + "-1-r1";
}

// Stores a profile whose version and names of packages contain the number of the generation. All have the same size, so
// that only the checksum can reveal a mixture of two.
uint64_t create(unsigned generation, int32_t state)
{
    std::string number = std::to_string(100'000'000 + generation), name = package_of(number);
    inst_swp_package package = {};
    inst_swp_package_set_name(&package, name.data());
    std::vector<inst_swp_package> packages(PACKAGES, package);
    char key[] = "default-sdr", image[] = "image.iso";
    swprofile_create_request request = {};
    request.sdr_key = key;
    request.part_type = static_cast<uint32_t>(state);
    request.image = image;
    request.vm_type = VERD_VM_QX;
    request.version = number.data();
    request.packages = packages.data();
    request.packages_count = PACKAGES;
    return inst_ldpath_create_sdr_swprofile(&request);
}

// Does every package belong to the generation of the profile, except the one that is added and removed?
bool is_consistent(const inst_sw_profile_info &body)
{
    const std::string name = package_of(body.version);
    const auto fits = [&](const inst_swp_package &package) { return package.name == name; };
    return std::count_if(body.packages, body.packages + body.packages_count, fits) == PACKAGES &&
           body.packages_count <= PACKAGES + 1;
}

void check(bool is_met, const char *what)
{
    if (!is_met) {
        std::fprintf(stderr, "load: %s\n", what);
        ++faults;
    }
}

void read(int32_t state)
{
    inst_sw_profile_sdr_ext *profile = nullptr;
    if (inst_ldpath_get_swprofile(QX(state), &profile, nullptr) != 0) {
        return; // missing, empty or rejected
    }
    ++profiles_read;
    check(is_consistent(profile->sdr_sw_profile.sw_profile), "a mixture of two profiles was accepted");
    char **names = nullptr;
    uint32_t count = 0;
    check(inst_ldpath_get_swprofile_pkgs(profile, &names, &count) == 0, "a query of a fetched profile failed");
    inst_free_string_list(count, names);
    uint8_t is_equal = 0;
    check(instcomm_compare_swp_profiles(profile, profile, &is_equal, 0) == 0 && is_equal == 1,
          "a profile differs from itself");
    inst_ldpath_free_swprofile_ext(&profile);
}

using Work = void(unsigned round);

void store_active(unsigned round)
{
    create(round, VERD_SWP_ACTIVE);
}

void read_all(unsigned)
{
    std::for_each(std::begin(STATES), std::end(STATES), read);
}

// No two processes store the same generation.
void repeat(Work *work, std::chrono::steady_clock::time_point end)
{
    const unsigned first = static_cast<unsigned>(getpid()) % 80'000 * 10'000;
    for (unsigned round = first; std::chrono::steady_clock::now() < end; ++round) {
        work(round);
    }
    check(work != read_all || profiles_read > 0, "no profile could be fetched");
}

void run_threads(std::chrono::steady_clock::time_point end)
{
    std::vector<std::thread> threads;
    threads.emplace_back(repeat, store_active, end);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back(repeat, read_all, end);
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread &thread) { thread.join(); });
}

void run_processes(std::chrono::steady_clock::time_point end)
{
    Work *const works[] = {
        store_active,
        store_active,
        [](unsigned round) { create(round, VERD_SWP_PREPARED); },
        [](unsigned) {
            inst_ldpath_add_swprofile_pkgs(QX(VERD_SWP_ACTIVE), "extra-1-r1", nullptr, 0, 0, VERD_PKG_BASE, 0, nullptr);
            inst_ldpath_remove_swprofile_pkgs(QX(VERD_SWP_ACTIVE), "extra-1-r1", nullptr, nullptr);
        },
        [](unsigned) { inst_ldpath_swp_move_prep_to_act("default-sdr", 0, VERD_VM_QX, nullptr); },
        [](unsigned) {
            inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, nullptr);
            inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_COMMITTED, VERD_SWP_PREPARED, nullptr);
        },
        read_all,
        read_all,
    };
    for (Work *const work : works) {
        if (fork() == 0) {
            repeat(work, end);
            _exit(faults == 0 ? 0 : 1);
        }
    }
    for (int status; wait(&status) > 0;) {
        check(status == 0, WIFSIGNALED(status) ? "a process crashed" : "a process found a fault");
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3 || getenv("SWP_SANDBOX") == nullptr || verd_inst_ldpath_lib_init(0, nullptr) != 0) {
        std::fprintf(stderr, "usage: scripts/sandbox load processes|threads SECONDS\n");
        return 2;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(std::strtoul(argv[2], nullptr, 10));
    std::strcmp(argv[1], "threads") == 0 ? run_threads(end) : run_processes(end);
    for (const int32_t state : STATES) {
        check(create(1, state) == 0, "cannot store a profile that no other process disturbs");
    }
    return faults == 0 ? 0 : 1;
}
