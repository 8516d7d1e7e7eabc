// Uses one repository from eight processes or nine threads at once, without locks, as careless install managers would:
//     load processes SECONDS    edits, promotes, copies and reads
//     load threads SECONDS      one thread stores, eight fetch, query and compare
// A profile that is fetched must be one that somebody stored, never a mixture. Runs in the private root.
#include "verd_inst_ldpath.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#define QX(state) "default-sdr", 0, state, VERD_VM_QX

// The library sleeps before it tries again to write a file.
extern "C" unsigned int sleep(unsigned int) noexcept
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

// Stores a profile of some generation: its number is the version, and in the name of each of its packages. All have the
// same size, so that a mixture of two could only be noticed by the checksum.
uint64_t create(unsigned generation, int32_t state)
{
    std::string number = std::to_string(100'000'000 + generation);
    std::vector<std::string> names(PACKAGES, package_of(number));
    std::vector<inst_swp_package> packages(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        inst_swp_package_set_name(&packages[i], names[i].data());
    }
    char key[] = "default-sdr";
    char image[] = "image.iso";
    swprofile_create_request request = {};
    request.sdr_key = key;
    request.part_type = static_cast<uint32_t>(state);
    request.image = image;
    request.vm_type = VERD_VM_QX;
    request.version = number.data();
    request.packages = packages.data();
    request.packages_count = static_cast<uint32_t>(packages.size());
    return inst_ldpath_create_sdr_swprofile(&request);
}

// Are all packages of the profile's generation, except those that are added and removed?
bool is_consistent(const inst_sw_profile_info &body)
{
    const std::string package = package_of(body.version);
    uint32_t count = 0;
    for (uint32_t i = 0; i < body.packages_count; ++i) {
        count += body.packages[i].name == package ? 1 : 0;
        if (body.packages[i].name != package && std::strcmp(body.packages[i].name, "extra-1-r1") != 0) {
            return false;
        }
    }
    return count == PACKAGES;
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
    uint8_t flag = 0;
    char *image = nullptr;
    inst_swp_is_pkg_present(QX(state), "extra-1-r1", &flag);
    inst_get_image_name("default-sdr", &image);
    std::free(image);
}

void read_all(unsigned)
{
    for (const int32_t state : STATES) {
        read(state);
    }
}

void edit(unsigned)
{
    inst_ldpath_add_swprofile_pkgs(QX(VERD_SWP_ACTIVE), "extra-1-r1", nullptr, 0, 0, VERD_PKG_BASE, 0, nullptr);
    inst_ldpath_remove_swprofile_pkgs(QX(VERD_SWP_ACTIVE), "extra-1-r1", nullptr, nullptr);
}

void promote(unsigned)
{
    inst_ldpath_swp_move_prep_to_act("default-sdr", 0, VERD_VM_QX, nullptr);
}

void copy(unsigned)
{
    inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, nullptr);
    inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_COMMITTED, VERD_SWP_PREPARED, nullptr);
}

void store_active(unsigned round)
{
    create(round, VERD_SWP_ACTIVE);
}

void store_prepared(unsigned round)
{
    create(round, VERD_SWP_PREPARED);
}

using Work = void(unsigned round);

// No two processes store the same generation.
void repeat(Work *work, std::chrono::steady_clock::time_point end)
{
    const unsigned first = static_cast<unsigned>(getpid()) % 80'000 * 10'000;
    for (unsigned round = first; std::chrono::steady_clock::now() < end; ++round) {
        work(round);
    }
}

void run_threads(std::chrono::steady_clock::time_point end)
{
    std::vector<std::thread> threads;
    threads.emplace_back(repeat, store_active, end);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back(repeat, read_all, end);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    check(profiles_read > 0, "no profile could be fetched");
    std::printf("%u profiles fetched while one thread stored\n", profiles_read.load());
}

// Returns in each process with its own faults.
void run_processes(std::chrono::steady_clock::time_point end)
{
    for (Work *const work : {store_active, store_active, store_prepared, edit, promote, copy, read_all, read_all}) {
        if (fork() == 0) {
            repeat(work, end);
            if (work == read_all) {
                check(profiles_read > 0, "no profile could be fetched");
                std::printf("%u profiles fetched while others changed them\n", profiles_read.load());
            }
            std::fflush(stdout);
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
    // What no other process disturbs is whole again.
    check(create(1, VERD_SWP_ACTIVE) == 0, "cannot store");
    copy(0);
    return faults == 0 ? 0 : 1;
}
