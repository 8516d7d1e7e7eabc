// Measures operations on profiles of 100 to 50 000 packages (a fetch also with 1), each alternately with its baseline,
// and prints a table of the ratios. A floor is a baseline that does the least work that the operation requires.
#include "floors.h"
#include "sample_profile.h"

#include "verd_inst_ldpath.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace
{

constexpr char KEY[] = "default-sdr";
constexpr char BIN_PATH[] = "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-active.bin";
constexpr char FLOOR_BIN_PATH[] = "/install_repo/gl/instdb/sdr/default-sdr/floor.bin";
constexpr char FLOOR_TXT_PATH[] = "/install_repo/gl/instdb/sdr/default-sdr/floor.txt";

constexpr char NEW_PACKAGE[] = "qx-new-package-1.0.0-r0001";

void require(bool is_done, const char *what)
{
    if (!is_done) {
        std::fprintf(stderr, "swprofile_bench: %s failed\n", what);
        std::exit(1);
    }
}

// A profile of one size, and the buffers of the benchmarks.
struct Subject {
    explicit Subject(uint32_t packages)
        : profile(new_sample_profile(packages)), plain(bench::plain_bytes_of(*profile)),
          encoding(zeld_inst_sw_profile_sdr_ext_encode_ext(profile, nullptr, 0, 0, 0, 0)), copies(packages)
    {
        encode();
    }

    void encode()
    {
        zeld_inst_sw_profile_sdr_ext_encode_ext(profile, encoding.data(), static_cast<uint32_t>(encoding.size()), 0, 0,
                                                0);
    }

    void decode()
    {
        zeld_inst_sw_profile_sdr_ext_decode_ext(&decoded, encoding.data(), static_cast<uint32_t>(encoding.size()),
                                                std::malloc, 0);
    }

    void free_decoded() { zeld_inst_sw_profile_sdr_ext_free_ext(&decoded, std::free, 0); }

    void duplicate()
    {
        const inst_sw_profile_info &body = profile->sdr_sw_profile.sw_profile;
        for (std::size_t i = 0; i < copies.size(); ++i) {
            zeld_inst_swp_package_duplicate(&copies[i], &body.packages[i], std::malloc, 0);
        }
    }

    void free_copies()
    {
        for (inst_swp_package &copy : copies) {
            zeld_inst_swp_package_free_ext(&copy, std::free, 0);
        }
    }

    void encode_floor() { bench::encode_floor(*profile, plain); }
    void decode_floor() { bench::decode_floor(plain, decoded); }
    void free_floor() { bench::free_floor(decoded); }
    void duplicate_floor() { bench::duplicate_floor(body().packages, copies); }
    void free_copies_floor() { bench::free_floor(copies.data(), copies.size()); }

    // Times the checksum: decoding an encoding with a wrong checksum reads every byte and rejects it.
    void checksum()
    {
        encoding.back() ^= 1;
        decode();
        encoding.back() ^= 1;
    }

    static inst_swp_package *copy_of(const inst_swp_package *packages, std::size_t count)
    {
        auto *const array = static_cast<inst_swp_package *>(std::calloc(count, sizeof(inst_swp_package)));
        for (std::size_t i = 0; i < count; ++i) {
            zeld_inst_swp_package_duplicate(&array[i], &packages[i], std::malloc, 0);
        }
        return array;
    }

    static void free_packages(inst_swp_package *packages, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i) {
            zeld_inst_swp_package_free_ext(&packages[i], std::free, 0);
        }
        std::free(packages);
    }

    void copy_and_free_packages() { free_packages(copy_of(body().packages, copies.size()), copies.size()); }

    void store()
    {
        require(inst_write_sdr_swprofile_to_file2(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile, nullptr) == 0,
                "storing");
    }

    void fetch_and_free()
    {
        inst_sw_profile_sdr_ext *fetched = nullptr;
        require(inst_ldpath_get_swprofile(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &fetched, nullptr) == 0, "fetching");
        inst_ldpath_free_swprofile_ext(&fetched);
    }

    void fetch_floor_and_free()
    {
        inst_sw_profile_sdr_ext *fetched = bench::fetch_floor(BIN_PATH);
        inst_ldpath_free_swprofile_ext(&fetched);
    }

    inst_sw_profile_info &body() const { return profile->sdr_sw_profile.sw_profile; }

    void add_package()
    {
        require(inst_ldpath_add_pkg_in_swp(&body(), strdup(NEW_PACKAGE), 0, nullptr, 0, VERD_PKG_BASE, nullptr, nullptr,
                                           0, service_packs.source(), nullptr) == 0,
                "adding");
    }

    void remove_package() { require(inst_ldpath_remove_pkg_in_swp(&body(), NEW_PACKAGE, nullptr) == 0, "removing"); }

    // Replaces the service packs of the body. The first call also fills `service_packs`, which add_package() passes to
    // the library. Half of the names are in both; only those of `service_packs` deliver NEW_PACKAGE.
    void set_service_packs()
    {
        const auto count = static_cast<uint32_t>(copies.size() * 2 / 5);
        bench::set_service_packs(body(), 0, count);
        if (service_packs.source() == 0) {
            service_packs.fill(count / 2, count, NEW_PACKAGE);
        }
    }

    void add_for_node()
    {
        const inst_node_loc node = {};
        const uint32_t type = 0; // not a bundle
        require(inst_ldpath_add_pkg_location(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &node, 1, NEW_PACKAGE, 0, type, 0) ==
                    0,
                "adding for a node");
    }

    void add_to_stored()
    {
        require(inst_ldpath_add_swprofile_pkgs(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, NEW_PACKAGE, nullptr, 0, 0,
                                               VERD_PKG_BASE, 0, nullptr) == 0,
                "adding to the stored profile");
    }

    void remove_from_stored()
    {
        require(inst_ldpath_remove_swprofile_pkgs(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, NEW_PACKAGE, nullptr, nullptr) ==
                    0,
                "removing from the stored profile");
    }

    void rebuild_stored_floor()
    {
        inst_sw_profile_sdr_ext *fetched = bench::fetch_floor(BIN_PATH);
        inst_sw_profile_info &body = fetched->sdr_sw_profile.sw_profile;
        inst_swp_package *const copy = copy_of(body.packages, body.packages_count);
        free_packages(std::exchange(body.packages, copy), body.packages_count);
        bench::store_floor(*fetched, FLOOR_BIN_PATH, FLOOR_TXT_PATH);
        inst_ldpath_free_swprofile_ext(&fetched);
    }

    void fetch_and_store_floor()
    {
        fetch_floor_and_free();
        bench::store_floor(*profile, FLOOR_BIN_PATH, FLOOR_TXT_PATH);
    }

    void list_files()
    {
        char **list = nullptr;
        uint32_t count = 0;
        inst_ldpath_get_swprofile_filelist(profile, &list, &count, nullptr);
        inst_free_string_list(count, list);
    }

    // One calloc for the array, and strdup of each name.
    void list_files_floor()
    {
        const uint32_t count = body().packages_count + 1;
        char **const list = static_cast<char **>(std::calloc(count, sizeof(char *)));
        list[0] = strdup(body().image.name);
        for (uint32_t i = 1; i < count; ++i) {
            list[i] = strdup(body().packages[i - 1].name);
        }
        inst_free_string_list(count, list);
    }

    void find_package()
    {
        uint8_t is_present = 0;
        require(inst_swp_is_pkg_present(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, NEW_PACKAGE, &is_present) == 0,
                "searching");
    }

    void shuffle()
    {
        if (shuffled == nullptr) {
            shuffled = new_sample_profile(static_cast<uint32_t>(copies.size()));
            inst_swp_package *const packages = shuffled->sdr_sw_profile.sw_profile.packages;
            std::shuffle(packages, packages + copies.size(), std::minstd_rand());
        }
    }

    // Compares with the same packages in another order.
    void compare_in_any_order()
    {
        uint8_t is_match = 0;
        instcomm_cmp_swprofile_ext(profile, shuffled, 0, nullptr, 0, 1, &is_match);
        require(is_match != 0, "comparing");
    }

    void fetch_both()
    {
        fetch_and_free();
        fetch_and_free();
    }

    Subject(const Subject &) = delete;
    ~Subject()
    {
        inst_ldpath_free_swprofile_ext(&profile);
        inst_ldpath_free_swprofile_ext(&shuffled);
    }

    inst_sw_profile_sdr_ext *profile;
    inst_sw_profile_sdr_ext *shuffled = nullptr;
    bench::PlainBytes plain;
    std::vector<uint8_t> encoding;
    inst_sw_profile_sdr_ext decoded = {};
    std::vector<inst_swp_package> copies;
    bench::ServicePackSource service_packs;
};

using Step = std::function<void(Subject &)>;

// A timed step, and the untimed steps before and after it.
struct TimedStep {
    Step step;
    Step before = {};
    Step after = {};

    double seconds(Subject &subject) const
    {
        if (before) {
            before(subject);
        }
        const auto start = std::chrono::steady_clock::now();
        step(subject);
        benchmark::ClobberMemory();
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        if (after) {
            after(subject);
        }
        return taken.count();
    }
};

double quantile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

struct Benchmark {
    const char *operation;
    TimedStep ours;
    TimedStep baseline;
    bool is_stored = false;    // requires the profile in its file
    int iterations = 0;        // 0: as many as fit into the minimum time
    bool has_checksum = false; // only `ours` computes the checksum
};

// Times an operation and its baseline alternately, so that both run with the same heap, caches and machine load.
void measure(benchmark::State &state, uint32_t packages, const Benchmark &benchmark)
{
    Subject subject(packages);
    if (benchmark.is_stored) {
        subject.store();
    }
    const TimedStep checksum = {&Subject::checksum};
    std::vector<double> our_times;
    std::vector<double> baseline_times;
    std::vector<double> checksum_times;
    std::vector<double> ratios;
    for (auto iteration : state) {
        static_cast<void>(iteration);
        const bool ours_first = our_times.size() % 2 == 0;
        const double first = (ours_first ? benchmark.ours : benchmark.baseline).seconds(subject);
        const double second = (ours_first ? benchmark.baseline : benchmark.ours).seconds(subject);
        our_times.push_back(ours_first ? first : second);
        baseline_times.push_back(ours_first ? second : first);
        checksum_times.push_back(benchmark.has_checksum ? checksum.seconds(subject) : 0);
        ratios.push_back(our_times.back() / baseline_times.back());
        state.SetIterationTime(first + second);
    }
    state.counters["ours"] = quantile(our_times, 0.5) * 1e6;
    state.counters["baseline"] = quantile(baseline_times, 0.5) * 1e6;
    state.counters["checksum"] = quantile(checksum_times, 0.5) * 1e6;
    state.counters["low"] = quantile(ratios, 0.25);
    state.counters["high"] = quantile(ratios, 0.75);
}

void add(uint32_t packages, const Benchmark &added)
{
    const std::string name = std::string(added.operation) + "/" + std::to_string(packages);
    auto *const registered =
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) { measure(state, packages, added); });
    registered->UseManualTime();
    if (added.iterations != 0) {
        registered->Iterations(added.iterations);
    }
}

std::vector<Benchmark> codec_benchmarks()
{
    const Step decode_and_free = [](Subject &s) {
        s.decode();
        s.free_decoded();
    };
    const Step decode_and_free_floor = [](Subject &s) {
        s.decode_floor();
        s.free_floor();
    };
    return {
        // The checksum alone, as a multiple of the floor of encoding: subtract it from the ratio of "encode" to get the
        // ratio without checksum.
        {.operation = "checksum", .ours = {&Subject::checksum}, .baseline = {&Subject::encode_floor}},
        {.operation = "encode", .ours = {&Subject::encode}, .baseline = {&Subject::encode_floor}, .has_checksum = true},
        {.operation = "decode",
         .ours = {&Subject::decode, {}, &Subject::free_decoded},
         .baseline = {&Subject::decode_floor, {}, &Subject::free_floor},
         .has_checksum = true},
        {.operation = "free",
         .ours = {&Subject::free_decoded, &Subject::decode},
         .baseline = {&Subject::free_floor, &Subject::decode_floor}},
        {.operation = "decode+free",
         .ours = {decode_and_free},
         .baseline = {decode_and_free_floor},
         .has_checksum = true},
        {.operation = "duplicate",
         .ours = {&Subject::duplicate, {}, &Subject::free_copies},
         .baseline = {&Subject::duplicate_floor, {}, &Subject::free_copies_floor}},
    };
}

// A baseline is the least that the operation must copy, read and write. For "has" and "compare", it is the library's
// fetch of the profiles.
std::vector<Benchmark> library_benchmarks()
{
    const Step deep_copy = &Subject::copy_and_free_packages;
    const Step store_floor = [](Subject &s) { bench::store_floor(*s.profile, FLOOR_BIN_PATH, FLOOR_TXT_PATH); };
    constexpr int STORES = 9;
    return {
        {.operation = "add", .ours = {&Subject::add_package, {}, &Subject::remove_package}, .baseline = {deep_copy}},
        {.operation = "remove", .ours = {&Subject::remove_package, &Subject::add_package}, .baseline = {deep_copy}},
        {.operation = "add with SPs",
         .ours = {&Subject::add_package, &Subject::set_service_packs, &Subject::remove_package},
         .baseline = {deep_copy}},
        {.operation = "add for node",
         .ours = {&Subject::add_for_node, &Subject::store},
         .baseline = {&Subject::fetch_and_store_floor},
         .is_stored = true,
         .iterations = STORES},
        {.operation = "add stored",
         .ours = {&Subject::add_to_stored, &Subject::store},
         .baseline = {&Subject::rebuild_stored_floor, &Subject::store},
         .is_stored = true,
         .iterations = STORES},
        {.operation = "remove stored",
         .ours = {&Subject::remove_from_stored, &Subject::add_to_stored},
         .baseline = {&Subject::rebuild_stored_floor, &Subject::add_to_stored},
         .is_stored = true,
         .iterations = STORES},
        {.operation = "file list", .ours = {&Subject::list_files}, .baseline = {&Subject::list_files_floor}},
        {.operation = "has",
         .ours = {&Subject::find_package},
         .baseline = {&Subject::fetch_and_free},
         .is_stored = true},
        {.operation = "compare",
         .ours = {&Subject::compare_in_any_order, &Subject::shuffle},
         .baseline = {&Subject::fetch_both},
         .is_stored = true},
        {.operation = "store",
         .ours = {&Subject::store},
         .baseline = {store_floor},
         .is_stored = true,
         .iterations = STORES},
    };
}

// Prints one line per benchmark when it ends.
class RatioTable : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override
    {
        std::printf("%-20s %11s %12s %7s   %-24s %s\n", "operation/packages", "ours, us", "baseline, us", "ratio",
                    "middle half of ratios", "ours / (baseline + checksum)");
        return true;
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            const double ours = run.counters.at("ours");
            const double baseline = run.counters.at("baseline");
            const double checksum = run.counters.at("checksum");
            std::printf("%-20s %11.1f %12.1f %7.3f   %.3f to %.3f", run.run_name.function_name.c_str(), ours, baseline,
                        ours / baseline, run.counters.at("low").value, run.counters.at("high").value);
            if (checksum != 0) {
                std::printf(" %15.3f", ours / (baseline + checksum));
            }
            std::printf("\n");
        }
        std::fflush(stdout);
    }
};

} // namespace

int main(int argc, char **argv)
{
    if (getenv("SWP_SANDBOX") == nullptr) {
        std::fprintf(stderr, "%s: run this through scripts/bench\n", argv[0]);
        return 2;
    }
    char min_time[] = "--benchmark_min_time=1";
    std::vector<char *> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, min_time);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    const inst_pkg_fmt_info format = {"bench", 1};
    if (verd_inst_ldpath_lib_init(0, &format) != 0) {
        return 1;
    }
    const Benchmark fetch = {.operation = "fetch",
                             .ours = {&Subject::fetch_and_free},
                             .baseline = {&Subject::fetch_floor_and_free},
                             .is_stored = true};
    add(1, fetch);
    for (const uint32_t packages : {100U, 500U, 5000U, 50000U}) {
        for (const Benchmark &added : codec_benchmarks()) {
            add(packages, added);
        }
        add(packages, fetch);
        for (const Benchmark &added : library_benchmarks()) {
            add(packages, added);
        }
    }
    RatioTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
