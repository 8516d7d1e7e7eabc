// Encoding, decoding, copying and releasing records. The bytes of a file are hostile.
#include "support/bodies.h"

#include <cstring>
#include <memory>
#include <random>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace
{

using CodecTest = RepositoryTest;

constexpr std::size_t HEADER_SIZE = 16;
constexpr std::size_t CHECKSUM_SIZE = sizeof(XXH128_canonical_t);

int32_t decode(inst_sw_profile_sdr_ext &record, const std::string &bytes)
{
    // An exactly sized heap block, so that AddressSanitizer finds a read past its end.
    const auto exact = std::make_unique<char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return zeld_inst_sw_profile_sdr_ext_decode_ext(&record, exact.get(), static_cast<uint32_t>(bytes.size()), malloc,
                                                   0);
}

bool is_cleared(const inst_sw_profile_sdr_ext &record)
{
    const inst_sw_profile_sdr_ext cleared = {};
    return std::memcmp(&record, &cleared, sizeof record) == 0;
}

constexpr std::size_t MEMORY_PER_BYTE = 100; // docs/encoding.md promises it

enum class Outcome { REJECTED, ROUND_TRIPS, WRONG };

// Decodes the bytes and encodes the record again. Rejected bytes must leave the record cleared.
Outcome round_trip(const std::string &bytes)
{
    inst_sw_profile_sdr_ext record = {};
    record.presence[0] = 0xff; // old content must be ignored
    record.sdr_sw_profile.sdr_key = reinterpret_cast<char *>(8);
    record.sdr_sw_profile.sw_profile.image.presence[1] = 0xff;
    const std::size_t before = hooks::allocated;
    const int32_t status = decode(record, bytes);
    EXPECT_LE(hooks::allocated - before, MEMORY_PER_BYTE * bytes.size());
    if (status != 0) {
        return is_cleared(record) ? Outcome::REJECTED : Outcome::WRONG;
    }
    const bool is_same = encoding_of(record) == bytes;
    zeld_inst_sw_profile_sdr_ext_free_ext(&record, free);
    return is_same && is_cleared(record) ? Outcome::ROUND_TRIPS : Outcome::WRONG;
}

bool survives(const inst_sw_profile_sdr_ext &record)
{
    return round_trip(encoding_of(record)) == Outcome::ROUND_TRIPS;
}

// Sets the length and the checksum to match the bytes, so that only the record can be wrong.
std::string with_valid_frame(std::string bytes)
{
    if (bytes.size() < HEADER_SIZE + CHECKSUM_SIZE) {
        return bytes;
    }
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[12 + i] = static_cast<char>(bytes.size() >> 8 * i);
    }
    XXH128_canonical_t checksum;
    XXH128_canonicalFromHash(&checksum, XXH3_128bits(bytes.data(), bytes.size() - CHECKSUM_SIZE));
    std::memcpy(bytes.data() + bytes.size() - CHECKSUM_SIZE, checksum.digest, CHECKSUM_SIZE);
    return bytes;
}

std::string full_encoding()
{
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    const std::string bytes = encoding_of(*profile);
    inst_ldpath_free_swprofile_ext(&profile);
    return bytes;
}

TEST_F(CodecTest, DecodedFieldsKeepPresenceAndNulls)
{
    Fetched decoded;
    decoded.ptr = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    ASSERT_EQ(decode(*decoded.ptr, full_encoding()), 0);
    EXPECT_EQ(decoded.ptr->presence[0], 7);
    EXPECT_EQ(decoded.ptr->sdr_sw_profile.presence[0], 0b1011); // the body's own bit isn't its members'
    const inst_swp_package &package = decoded.body().packages[0];
    EXPECT_EQ(package.presence[0], 0xff);
    EXPECT_EQ(package.presence[1], 3);
    EXPECT_STREQ(package.files[0], "alpha-1.0-r1.rpm");
    EXPECT_EQ(package.files[1], nullptr);
    EXPECT_STREQ(package.files[2], "");
    EXPECT_EQ(package.extra_list_2, nullptr); // present, and empty
    EXPECT_EQ(decoded.body().sp_names[1], nullptr);
    EXPECT_EQ(decoded.ptr->sdr_sw_profile.loc_profiles[0].node_locs[0].loc_id_1, UINT32_MAX);
}

// Fields that are present but null, and absent fields whose members are set.
TEST_F(CodecTest, OddStates)
{
    inst_sw_profile_sdr_ext odd = {};
    inst_sw_profile_info &body = odd.sdr_sw_profile.sw_profile;
    EXPECT_FALSE(inst_sw_profile_sdr_ext_has_sdr_sw_profile(&odd));
    inst_swp_package_set_pkg_type(&body.image, 0);
    EXPECT_TRUE(inst_sw_profile_info_has_image(&body));
    EXPECT_TRUE(inst_sw_profile_sdr_ext_has_sdr_sw_profile(&odd)); // through all levels
    EXPECT_EQ(body.presence[0] & 2, 0);
    inst_sw_profile_info_set_lv_name(&body, nullptr);
    inst_sw_profile_info_set_packages(&body, nullptr, 1000000);
    body.sp_names = reinterpret_cast<char **>(8);
    body.sp_names_count = 1;
    EXPECT_TRUE(survives(odd));
    zeld_inst_sw_profile_sdr_ext_free_ext(&odd, free);

    inst_swp_package package = {};
    package.name = reinterpret_cast<char *>(8);
    package.pkg_type = 5;
    inst_swp_package_set_files(&package, nullptr, 1000000);
    inst_swp_package copy;
    ASSERT_EQ(zeld_inst_swp_package_duplicate(&copy, &package, malloc, 0), 0);
    EXPECT_EQ(copy.name, nullptr);
    EXPECT_EQ(copy.pkg_type, 5U);
    EXPECT_EQ(copy.files_count, 0U);
    EXPECT_EQ(copy.presence[0], 2);
    zeld_inst_swp_package_free_ext(&package, free);
}

// A NUL inside a text would shorten it when it is encoded again. The lengths are those around the decoder's blocks
// of 16.
TEST_F(CodecTest, TextsOfAnyLengthAndWithoutNul)
{
    for (const std::size_t length : {0U, 1U, 7U, 15U, 16U, 17U, 31U, 32U, 33U, 64U, 300000U}) {
        inst_sw_profile_sdr_ext profile = {};
        std::string text(length, 'x');
        inst_sw_profile_info_set_version(&profile.sdr_sw_profile.sw_profile, text.data());
        const std::string bytes = encoding_of(profile);
        inst_sw_profile_sdr_ext decoded;
        ASSERT_EQ(decode(decoded, bytes), 0) << length;
        EXPECT_EQ(decoded.sdr_sw_profile.sw_profile.version, text);
        zeld_inst_sw_profile_sdr_ext_free_ext(&decoded, free);
        for (std::size_t at = 0; at<length; at += length> 100 ? 9973 : 1) {
            std::string damaged = bytes;
            damaged[bytes.find('x') + at] = '\0';
            EXPECT_EQ(decode(decoded, with_valid_frame(damaged)), 2) << at << " of " << length;
        }
    }
}

TEST_F(CodecTest, EncodingCountsPastTheEndOfItsBuffer)
{
    const std::string whole = full_encoding();
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    for (uint32_t size = 0; size <= whole.size() + 20; ++size) {
        std::string buffer(size + 1, '\x7f');
        EXPECT_EQ(zeld_inst_sw_profile_sdr_ext_encode_ext(profile, buffer.data(), size, 0, 0, 0), whole.size());
        EXPECT_EQ(buffer.back(), '\x7f');
        EXPECT_EQ(buffer.substr(0, whole.size()) == whole, size >= whole.size());
    }
    inst_ldpath_free_swprofile_ext(&profile);
    EXPECT_EQ(zeld_inst_sw_profile_sdr_ext_encode_ext(nullptr, nullptr, 0, 0, 0, 0), 0U);
}

// The files that freeze version 1 of the format.
struct Golden {
    const char *name;
    inst_sw_profile_sdr_ext *(*build)();
};

inst_sw_profile_sdr_ext *new_profile(uint32_t vm_type)
{
    auto *const profile = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    inst_sw_profile_sdr_set_vm_type(&profile->sdr_sw_profile, vm_type);
    return profile;
}

inst_sw_profile_sdr_ext *new_admin_profile()
{
    inst_sw_profile_sdr_ext *const profile = new_profile(VERD_VM_ADMIN);
    inst_sw_profile_info &body = profile->sdr_sw_profile.sw_profile;
    inst_sw_profile_info_set_lv_name(&body, nullptr);
    body.image = new_package("kelo-1.4.iso", {"kelo-base-1.4-r0"}, 0);
    inst_sw_profile_info_set_version(&body, strdup("1.4"));
    put_package(body, new_package("tp-ssh-9.1-r1"));
    inst_sw_profile_sdr_ext_set_sdr_sw_profile_len(profile, 0x1234);
    return profile;
}

inst_sw_profile_sdr_ext *new_profile_of_many_packages()
{
    inst_sw_profile_sdr_ext *const profile = new_profile(VERD_VM_QX);
    inst_sw_profile_sdr_set_sdr_key(&profile->sdr_sw_profile, strdup("default-sdr"));
    for (uint32_t i = 1; i <= 300; ++i) {
        const std::string name = "qx-package-" + std::to_string(i) + "-1.0-r" + std::to_string(i * i);
        inst_swp_package package = new_package(name.c_str(), {(name + ".rpm").c_str()}, i % 5 + 1);
        inst_swp_package_set_pkg_value(&package, i * uint64_t{0x0123456789abcdef});
        put_package(profile->sdr_sw_profile.sw_profile, package);
    }
    return profile;
}

// For nodes 0/1/0 and 0/2/0 an image, for node 0/3/0 a package.
inst_sw_profile_sdr_ext *new_profile_with_locations()
{
    inst_sw_profile_sdr_ext *const profile = new_profile(VERD_VM_QX);
    auto *const locations = static_cast<inst_sw_profile_loc *>(calloc(2, sizeof(inst_sw_profile_loc)));
    auto *const nodes = static_cast<inst_node_loc *>(calloc(3, sizeof(inst_node_loc)));
    for (uint32_t i = 0; i < 3; ++i) {
        inst_node_loc_set_loc_id_1(&nodes[i], 0);
        inst_node_loc_set_loc_id_2(&nodes[i], i + 1);
        inst_node_loc_set_loc_id_3(&nodes[i], 0);
    }
    auto *const last = static_cast<inst_node_loc *>(malloc(sizeof(inst_node_loc)));
    *last = nodes[2];
    inst_sw_profile_loc_set_node_locs(&locations[0], nodes, 2);
    inst_sw_profile_loc_set_node_locs(&locations[1], last, 1);
    locations[0].sw_profile.image = new_package("qx-image-1.6.0.iso", {}, 0);
    inst_sw_profile_info_set_version(&locations[0].sw_profile, strdup("1.6.0"));
    put_package(locations[1].sw_profile, new_package("qx-debug-1.6.0-r1", {"qx-debug-1.6.0-r1.rpm"}));
    inst_sw_profile_sdr_set_loc_profiles(&profile->sdr_sw_profile, locations, 2);
    return profile;
}

// States that differ although they look alike: set bits of nested records, null and empty texts, empty arrays, zeros.
inst_sw_profile_sdr_ext *new_profile_of_odd_states()
{
    inst_sw_profile_sdr_ext *const profile = new_profile(0);
    inst_sw_profile_info &body = profile->sdr_sw_profile.sw_profile;
    inst_sw_profile_sdr_set_sdr_key(&profile->sdr_sw_profile, nullptr);
    inst_sw_profile_sdr_set_sw_profile(&profile->sdr_sw_profile, body);
    inst_sw_profile_sdr_set_loc_profiles(&profile->sdr_sw_profile, nullptr, 0);
    inst_sw_profile_info_set_lv_name(&body, strdup(""));
    inst_sw_profile_info_set_image(&body, body.image);
    inst_sw_profile_info_set_packages(&body, nullptr, 0);
    inst_sw_profile_info_set_version(&body, strdup("\xc3\xa9"));
    inst_sw_profile_info_set_is_single_initrd_supported(&body, 0);
    inst_swp_package_set_pkg_marker(&body.image, 2);
    inst_swp_package_set_extra_value(&body.image, 0);
    return profile;
}

constexpr Golden GOLDEN[] = {
    {"empty", [] { return static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext))); }},
    {"admin", new_admin_profile},
    {"odd-states", new_profile_of_odd_states},
    {"qx-every-field", new_full_profile},
    {"qx-locations", new_profile_with_locations},
    {"qx-300-packages", new_profile_of_many_packages},
};

std::string golden_bytes(const std::string &name)
{
    return read_file(fs::path(SWP_GOLDEN) / (name + ".bin"));
}

TEST_F(CodecTest, GoldenFilesAreWrittenAndReadForEver)
{
    for (const Golden &golden : GOLDEN) {
        const std::string bytes = golden_bytes(golden.name);
        Fetched built;
        built.ptr = golden.build();
        EXPECT_TRUE(encoding_of(*built.ptr) == bytes) << golden.name;
        EXPECT_TRUE(survives(*built.ptr)) << golden.name;
    }
}

TEST_F(CodecTest, TheExampleInTheDocsIsTheGoldenFile)
{
    std::istringstream page(read_file(fs::path(SWP_GOLDEN) / "../../docs/encoding.md"));
    std::string shown;
    for (std::string line; std::getline(page, line);) {
        std::istringstream words(line);
        std::string offset;
        if (!line.starts_with("    0") || !(words >> offset) || offset.size() != 4) {
            continue;
        }
        EXPECT_EQ(std::stoul(offset, nullptr, 16), shown.size()) << line;
        for (std::string word; words >> word && word.size() == 2;) {
            shown += static_cast<char>(std::stoul(word, nullptr, 16));
        }
    }
    EXPECT_TRUE(shown == golden_bytes("admin"));
}

TEST_F(CodecTest, EveryDamagedByteIsFound)
{
    inst_sw_profile_sdr_ext record;
    for (const char *const name : {"empty", "admin"}) {
        const std::string whole = golden_bytes(name);
        for (std::size_t at = 0; at < whole.size(); ++at) {
            std::string damaged = whole;
            while (++damaged[at] != whole[at]) {
                EXPECT_EQ(decode(record, damaged), 2) << name << at;
                if (at < 12) { // magic, version, kind
                    EXPECT_EQ(decode(record, with_valid_frame(damaged)), 2) << name << at;
                }
            }
            EXPECT_EQ(decode(record, whole.substr(0, at)), 2) << name << at;
            EXPECT_EQ(decode(record, with_valid_frame(whole.substr(0, at))), 2) << name << at;
        }
        EXPECT_EQ(decode(record, whole + '@'), 2);
        EXPECT_EQ(decode(record, with_valid_frame(whole + '@')), 2); // bytes after the record
    }
}

TEST_F(CodecTest, HostileBytesRoundTripOrAreRejected)
{
    std::mt19937 random(4711);
    const std::string whole = full_encoding();
    int accepted = 0;
    for (int round = 0; round < 60000; ++round) {
        std::string bytes = whole;
        for (uint32_t i = 0, changes = 1 + random() % 4; i < changes; ++i) {
            const std::size_t at = HEADER_SIZE + random() % (bytes.size() - HEADER_SIZE);
            switch (random() % 4) {
            case 0:
                bytes[at] = static_cast<char>(random());
                break;
            case 1:
                bytes.erase(at, 1 + random() % 3);
                break;
            case 2:
                bytes.insert(at, 1 + random() % 11, "\x81\xbf\x00\xff\x01"[random() % 5]);
                break;
            default:
                bytes[at] = static_cast<char>(bytes[at] + (random() % 2 != 0 ? 1 : -1));
            }
        }
        const Outcome outcome = round_trip(with_valid_frame(bytes));
        ASSERT_NE(outcome, Outcome::WRONG) << round;
        accepted += outcome == Outcome::ROUND_TRIPS ? 1 : 0;
    }
    EXPECT_GT(accepted, 1000); // the decoder was tested, not only the checks before it
}

// Counts that all exceed what follows: each array is allocated before its elements turn out to be missing.
TEST_F(CodecTest, NestedCountsStayWithinTheMemoryBound)
{
    std::string bytes = golden_bytes("empty");
    bytes.resize(bytes.size() - CHECKSUM_SIZE);
    bytes.resize(100000);
    const auto put = [&](std::size_t at, uint32_t count) { std::memcpy(&bytes[at], &count, sizeof count); };
    const std::size_t sdr = HEADER_SIZE + 1;
    bytes[sdr] = 8; // loc_profiles
    put(sdr + 4, 24000);
    const std::size_t location = sdr + 8;
    bytes[location + 1] = 4; // packages
    put(location + 4, 49000);
    bytes[location + 8] = 2; // files
    put(location + 10, 24000);
    EXPECT_EQ(round_trip(with_valid_frame(bytes)), Outcome::REJECTED);
    EXPECT_GT(hooks::allocated, 90 * bytes.size());
}

TEST_F(CodecTest, CopiesAreDeepAndAllOrNothing)
{
    Fetched original;
    original.ptr = new_full_profile();
    const inst_swp_package &package = original.body().packages[0];
    inst_swp_package copy;
    for (int nth = 1;; ++nth) {
        hooks::fail(hooks::ALLOCATION, nth);
        const int32_t status = zeld_inst_swp_package_duplicate(&copy, &package, malloc, 0);
        const bool was_last = !hooks::orders[hooks::ALLOCATION].fired;
        hooks::reset();
        if (was_last) {
            ASSERT_EQ(status, 0);
            break;
        }
        EXPECT_EQ(status, 3);
        EXPECT_EQ(copy.presence[0] | copy.presence[1], 0);
        EXPECT_EQ(copy.files, nullptr);
    }
    EXPECT_NE(copy.name, package.name);
    EXPECT_NE(copy.files[0], package.files[0]);
    const std::string before = encoding_of(*original.ptr);
    std::swap(original.body().packages[0], copy);
    EXPECT_EQ(encoding_of(*original.ptr), before);
    zeld_inst_swp_package_free_ext(&copy, free);
    zeld_inst_swp_package_free_ext(&copy, free); // cleared, so that this is harmless
    zeld_inst_swp_package_free_ext(nullptr, free);
    EXPECT_NE(zeld_inst_swp_package_duplicate(&copy, nullptr, malloc, 0), 0);

    const serv_packs set = {original.body().sp_details, 2, {1}};
    auto *const packs = static_cast<serv_packs *>(malloc(sizeof(serv_packs)));
    ASSERT_EQ(zeld_serv_packs_duplicate(packs, &set, malloc, 0), 0);
    EXPECT_STREQ(packs->service_packs[0].sp_rpms[1], "gamma-1.0-r1");
    free_service_pack(packs);
}

} // namespace
