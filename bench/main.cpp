// Measures the operations on profiles of 100 to 50 000 packages, each in turn with its floor, and prints a table of the
// ratios.
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
#include <vector>

namespace
{

constexpr char KEY[] = "default-sdr";
constexpr char BIN_PATH[] = "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-active.bin";
constexpr char FLOOR_BIN_PATH[] = "/install_repo/gl/instdb/sdr/default-sdr/floor.bin";
constexpr char FLOOR_TXT_PATH[] = "/install_repo/gl/instdb/sdr/default-sdr/floor.txt";

constexpr char NEW_PACKAGE[] = "qx-new-package-1.0.0-r0001";

// A profile of one size and all that the benchmarks need of it.
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

    // What a decoder does to an encoding whose checksum is wrong: it goes over all bytes, and rejects them.
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

    void copy_and_free_body() { free_packages(copy_of(body().packages, copies.size()), copies.size()); }

    void store()
    {
        if (inst_write_sdr_swprofile_to_file2(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile, nullptr) != 0) {
            std::fprintf(stderr, "can't store a profile; run this through scripts/sandbox\n");
            std::exit(1);
        }
    }

    void fetch_and_free()
    {
        inst_sw_profile_sdr_ext *fetched = nullptr;
        inst_ldpath_get_swprofile(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &fetched, nullptr);
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
        if (inst_ldpath_add_pkg_in_swp(&body(), strdup(NEW_PACKAGE), 0, nullptr, 0, VERD_PKG_BASE, nullptr, nullptr, 0,
                                       service_packs.source(), nullptr) != 0) {
            std::fprintf(stderr, "can't add a package\n");
            std::exit(1);
        }
    }

    void remove_package() { inst_ldpath_remove_pkg_in_swp(&body(), NEW_PACKAGE, nullptr); }

    // Service packs in the body and in the source of what is added, half of them the same; every one delivers it.
    void put_service_packs()
    {
        const auto count = static_cast<uint32_t>(copies.size() * 2 / 5);
        bench::set_service_packs(body(), 0, count);
        if (service_packs.source() == 0) {
            service_packs.make(count / 2, count, NEW_PACKAGE);
        }
    }

    void add_for_node()
    {
        const inst_node_loc node = {};
        const uint32_t type = 0; // no bundle
        if (inst_ldpath_add_pkg_location(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &node, 1, NEW_PACKAGE, 0, type, 0) != 0) {
            std::fprintf(stderr, "can't add a package for a node\n");
            std::exit(1);
        }
    }

    void add_to_stored()
    {
        inst_ldpath_add_swprofile_pkgs(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, NEW_PACKAGE, nullptr, 0, 0, VERD_PKG_BASE,
                                       0, nullptr);
    }

    void remove_from_stored()
    {
        inst_ldpath_remove_swprofile_pkgs(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, NEW_PACKAGE, nullptr, nullptr);
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

    // The array, and strdup of the same names.
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

    void look_for_package()
    {
        uint8_t is_present = 0;
        inst_swp_is_pkg_present(KEY, 0, VERD_SWP_ACTIVE, VERD_VM_QX, NEW_PACKAGE, &is_present);
    }

    // With the packages of another one in another order.
    void compare_in_any_order()
    {
        if (turned == nullptr) {
            turned = new_sample_profile(static_cast<uint32_t>(copies.size()));
            inst_swp_package *const packages = turned->sdr_sw_profile.sw_profile.packages;
            std::shuffle(packages, packages + copies.size(), std::minstd_rand());
        }
        uint8_t is_match = 0;
        instcomm_cmp_swprofile_ext(profile, turned, 0, nullptr, 0, 1, &is_match);
        if (is_match == 0) {
            std::fprintf(stderr, "profiles in another order don't match\n");
            std::exit(1);
        }
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
        inst_ldpath_free_swprofile_ext(&turned);
    }

    inst_sw_profile_sdr_ext *profile;
    inst_sw_profile_sdr_ext *turned = nullptr;
    bench::PlainBytes plain;
    std::vector<uint8_t> encoding;
    inst_sw_profile_sdr_ext decoded = {};
    std::vector<inst_swp_package> copies;
    bench::ServicePackSource service_packs;
};

using Step = std::function<void(Subject &)>;

// What is timed, and what is done before and after it untimed.
struct Side {
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

// An operation and its floor, in turn, so that both meet the same heap, caches and neighbours.
void measure(benchmark::State &state, uint32_t packages, bool is_stored, const Side &ours, const Side &floor)
{
    Subject subject(packages);
    if (is_stored) {
        subject.store();
    }
    std::vector<double> our_times;
    std::vector<double> floor_times;
    std::vector<double> checksum_times;
    std::vector<double> ratios;
    const Side checksum = {&Subject::checksum};
    for (auto iteration : state) {
        static_cast<void>(iteration);
        const bool ours_first = our_times.size() % 2 == 0;
        const double first = (ours_first ? ours : floor).seconds(subject);
        const double second = (ours_first ? floor : ours).seconds(subject);
        our_times.push_back(ours_first ? first : second);
        floor_times.push_back(ours_first ? second : first);
        checksum_times.push_back(checksum.seconds(subject));
        ratios.push_back(our_times.back() / floor_times.back());
        state.SetIterationTime(first + second);
    }
    state.counters["ours"] = quantile(our_times, 0.5) * 1e6;
    state.counters["floor"] = quantile(floor_times, 0.5) * 1e6;
    state.counters["checksum"] = quantile(checksum_times, 0.5) * 1e6;
    state.counters["low"] = quantile(ratios, 0.25);
    state.counters["high"] = quantile(ratios, 0.75);
}

bool is_any_of(const std::string &operation, std::initializer_list<const char *> others)
{
    return std::find(others.begin(), others.end(), operation) != others.end();
}

void add(const char *operation, uint32_t packages, const Side &ours, const Side &floor)
{
    const bool is_store = is_any_of(operation, {"store", "add for node", "add stored", "remove stored"});
    const bool is_stored = is_store || is_any_of(operation, {"fetch", "has", "compare"});
    const std::string name = std::string(operation) + "/" + std::to_string(packages);
    auto *const registered = benchmark::RegisterBenchmark(
        name.c_str(), [=](benchmark::State &state) { measure(state, packages, is_stored, ours, floor); });
    registered->UseManualTime();
    if (is_store) {
        registered->Iterations(9);
    }
}

void add_fetch(uint32_t packages)
{
    add("fetch", packages, {&Subject::fetch_and_free}, {&Subject::fetch_floor_and_free});
}

void add_all(uint32_t packages)
{
    const Step decode_and_free = [](Subject &s) {
        s.decode();
        s.free_decoded();
    };
    const Step decode_and_free_floor = [](Subject &s) {
        s.decode_floor();
        s.free_floor();
    };

    add("checksum", packages, {&Subject::checksum}, {&Subject::encode_floor});
    add("encode", packages, {&Subject::encode}, {&Subject::encode_floor});
    add("decode", packages, {&Subject::decode, {}, &Subject::free_decoded},
        {&Subject::decode_floor, {}, &Subject::free_floor});
    add("free", packages, {&Subject::free_decoded, &Subject::decode}, {&Subject::free_floor, &Subject::decode_floor});
    add("decode+free", packages, {decode_and_free}, {decode_and_free_floor});
    add("duplicate", packages, {&Subject::duplicate, {}, &Subject::free_copies},
        {&Subject::duplicate_floor, {}, &Subject::free_copies_floor});

    // An edit is compared with one deep copy of the package array, and freeing it.
    const Step deep_copy = &Subject::copy_and_free_body;
    add("add", packages, {&Subject::add_package, {}, &Subject::remove_package}, {deep_copy});
    add("remove", packages, {&Subject::remove_package, &Subject::add_package}, {deep_copy});
    add("add with SPs", packages, {&Subject::add_package, &Subject::put_service_packs, &Subject::remove_package},
        {deep_copy});
    add("add for node", packages, {&Subject::add_for_node, &Subject::store}, {&Subject::fetch_and_store_floor});
    add_fetch(packages);
    add("add stored", packages, {&Subject::add_to_stored, &Subject::store},
        {&Subject::rebuild_stored_floor, &Subject::store});
    add("remove stored", packages, {&Subject::remove_from_stored, &Subject::add_to_stored},
        {&Subject::rebuild_stored_floor, &Subject::add_to_stored});
    add("file list", packages, {&Subject::list_files}, {&Subject::list_files_floor});
    add("has", packages, {&Subject::look_for_package}, {&Subject::fetch_and_free});
    add("compare", packages, {&Subject::compare_in_any_order}, {&Subject::fetch_both});
    add("store", packages, {&Subject::store},
        {[](Subject &s) { bench::store_floor(*s.profile, FLOOR_BIN_PATH, FLOOR_TXT_PATH); }});
}

// The operations that go over all bytes of an encoding for its checksum, which their floors don't.
bool has_checksum(const std::string &operation)
{
    return is_any_of(operation, {"encode", "decode", "decode+free"});
}

// A line for each pair as it is done.
class RatioTable : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override
    {
        std::printf("%-20s %11s %11s %7s   %-24s %s\n", "operation/packages", "ours, us", "floor, us", "ratio",
                    "half of all pairs lie in", "to floor + checksum");
        return true;
    }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            const std::string &name = run.run_name.function_name;
            const double ours = run.counters.at("ours");
            const double floor = run.counters.at("floor");
            std::printf("%-20s %11.1f %11.1f %7.3f   %.3f to %.3f", name.c_str(), ours, floor, ours / floor,
                        run.counters.at("low").value, run.counters.at("high").value);
            if (has_checksum(name.substr(0, name.find('/')))) {
                std::printf(" %15.3f", ours / (floor + run.counters.at("checksum").value));
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
    char shortest[] = "--benchmark_min_time=1";
    std::vector<char *> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, shortest);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    const inst_pkg_fmt_info format = {"bench", 1};
    if (verd_inst_ldpath_lib_init(0, &format) != 0) {
        return 1;
    }
    add_fetch(1);
    for (const uint32_t packages : {100U, 500U, 5000U, 50000U}) {
        add_all(packages);
    }
    RatioTable table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
