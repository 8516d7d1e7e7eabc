// Encoding, decoding, copying and releasing records. The bytes of a file are hostile.
#include "support/repository_test.h"

#include <cstring>
#include <memory>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace
{

using CodecTest = RepositoryTest;

constexpr std::size_t HEADER_SIZE = 16;
constexpr std::size_t CHECKSUM_SIZE = sizeof(XXH128_canonical_t);
constexpr std::size_t MEMORY_PER_BYTE = 100; // docs/encoding.md promises it

int32_t decode(inst_sw_profile_sdr_ext &record, const std::string &bytes)
{
    // An exactly sized heap block, so that AddressSanitizer finds a read past its end.
    const auto exact = std::make_unique<char[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), exact.get());
    return zeld_inst_sw_profile_sdr_ext_decode_ext(&record, exact.get(), static_cast<uint32_t>(bytes.size()), malloc,
                                                   0);
}

// Does it decode? If so, it must encode to the same bytes. Rejected or released, the record must be cleared.
bool round_trips(const std::string &bytes)
{
    inst_sw_profile_sdr_ext record = {}, cleared = {};
    record.presence[0] = 0xff; // old content must be ignored
    record.sdr_sw_profile.sdr_key = reinterpret_cast<char *>(8);
    record.sdr_sw_profile.sw_profile.image.presence[1] = 0xff;
    const std::size_t before = hooks::allocated;
    const bool decodes = decode(record, bytes) == 0;
    EXPECT_LE(hooks::allocated - before, MEMORY_PER_BYTE * bytes.size());
    if (decodes) {
        EXPECT_TRUE(encoding_of(record) == bytes);
        zeld_inst_sw_profile_sdr_ext_free_ext(&record, free);
    }
    EXPECT_EQ(std::memcmp(&record, &cleared, sizeof record), 0);
    return decodes;
}

// Sets the length and the checksum to match the bytes, so that only the record can be wrong.
std::string with_valid_frame(std::string bytes)
{
    const auto size = static_cast<uint32_t>(bytes.size());
    if (size >= HEADER_SIZE + CHECKSUM_SIZE) {
        XXH128_canonical_t checksum;
        std::memcpy(&bytes[12], &size, sizeof size);
        XXH128_canonicalFromHash(&checksum, XXH3_128bits(bytes.data(), size - CHECKSUM_SIZE));
        std::memcpy(&bytes[size - CHECKSUM_SIZE], &checksum, CHECKSUM_SIZE);
    }
    return bytes;
}

TEST_F(CodecTest, APresentFieldMakesItsRecordsPresent)
{
    inst_sw_profile_sdr_ext profile = {};
    inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    EXPECT_FALSE(inst_sw_profile_sdr_ext_has_sdr_sw_profile(&profile));
    inst_swp_package_set_pkg_type(&body.image, 0);
    EXPECT_TRUE(inst_sw_profile_info_has_image(&body) && inst_sw_profile_sdr_ext_has_sdr_sw_profile(&profile));
    EXPECT_EQ(body.presence[0] & 2, 0); // the bit of the image is not set
}

// A NUL inside a text would shorten it when it is encoded again. The lengths are those around the decoder's blocks
// of 16.
TEST_F(CodecTest, TextsOfAnyLengthAndWithoutNul)
{
    for (const std::size_t length : {0U, 1U, 15U, 16U, 17U, 31U, 32U, 33U, 300000U}) {
        inst_sw_profile_sdr_ext profile = {};
        std::string text(length, 'x');
        inst_sw_profile_info_set_version(&profile.sdr_sw_profile.sw_profile, text.data());
        const std::string bytes = encoding_of(profile);
        inst_sw_profile_sdr_ext decoded;
        ASSERT_EQ(decode(decoded, bytes), 0) << length;
        EXPECT_EQ(decoded.sdr_sw_profile.sw_profile.version, text);
        zeld_inst_sw_profile_sdr_ext_free_ext(&decoded, free);
        const std::size_t step = length > 100 ? 9973 : 1;
        for (std::size_t at = 0; at < length; at += step) {
            std::string damaged = bytes;
            damaged[bytes.find('x') + at] = '\0';
            EXPECT_EQ(decode(decoded, with_valid_frame(damaged)), 2) << at << " of " << length;
        }
    }
}

TEST_F(CodecTest, EncodingCountsPastTheEndOfItsBuffer)
{
    const Fetched profile = {new_full_profile()};
    const std::string whole = encoding_of(*profile.ptr);
    for (uint32_t size = 0; size <= whole.size() + 20; ++size) {
        std::string buffer(size + 1, '\x7f');
        EXPECT_EQ(zeld_inst_sw_profile_sdr_ext_encode_ext(profile.ptr, buffer.data(), size, 0, 0, 0), whole.size());
        EXPECT_EQ(buffer.back(), '\x7f');
        EXPECT_EQ(buffer.substr(0, whole.size()) == whole, size >= whole.size());
    }
    EXPECT_EQ(zeld_inst_sw_profile_sdr_ext_encode_ext(nullptr, nullptr, 0, 0, 0, 0), 0U);
}

// Fields that are present without a visible value: empty nested records, null and empty texts, empty arrays, zeros. A
// null array counts as empty, and the members of an absent field are ignored.
inst_sw_profile_sdr_ext *new_profile_of_odd_states()
{
    inst_sw_profile_sdr_ext *const profile = new_profile();
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    inst_sw_profile_info &body = sdr.sw_profile;
    inst_sw_profile_sdr_set_vm_type(&sdr, 0);
    inst_sw_profile_sdr_set_sdr_key(&sdr, nullptr);
    inst_sw_profile_sdr_set_sw_profile(&sdr, body);
    inst_sw_profile_sdr_set_loc_profiles(&sdr, nullptr, 0);
    inst_sw_profile_info_set_lv_name(&body, strdup(""));
    inst_sw_profile_info_set_image(&body, body.image);
    inst_sw_profile_info_set_packages(&body, nullptr, 1000000);
    body.sp_names = reinterpret_cast<char **>(8);
    body.sp_names_count = 1;
    inst_sw_profile_info_set_version(&body, strdup("\xc3\xa9"));
    inst_sw_profile_info_set_is_single_initrd_supported(&body, 0);
    inst_swp_package_set_pkg_marker(&body.image, 2);
    inst_swp_package_set_extra_value(&body.image, 0);
    return profile;
}

std::string golden_bytes(const std::string &name)
{
    return read_file(fs::path(SWP_GOLDEN) / (name + ".bin"));
}

// The files that freeze version 1 of the format.
TEST_F(CodecTest, GoldenFiles)
{
    const struct {
        const char *name;
        Fetched built;
    } golden[] = {{"empty", {new_profile()}},
                  {"odd-states", {new_profile_of_odd_states()}},
                  {"qx-every-field", {new_full_profile()}}};
    for (const auto &[name, built] : golden) {
        EXPECT_TRUE(encoding_of(*built.ptr) == golden_bytes(name)) << name;
        EXPECT_TRUE(round_trips(golden_bytes(name))) << name;
    }
    EXPECT_TRUE(round_trips(golden_bytes("admin")) && round_trips(golden_bytes("qx-locations")));
}

// Every byte gets every other value, is missing, or is preceded by another one.
TEST_F(CodecTest, DamagedBytes)
{
    inst_sw_profile_sdr_ext record;
    int accepted = 0;
    for (const char *const name : {"empty", "admin", "qx-locations", "qx-every-field"}) {
        const std::string whole = golden_bytes(name);
        for (std::size_t at = 0; at < whole.size(); ++at) {
            SCOPED_TRACE(name + std::string(", byte ") + std::to_string(at));
            std::string damaged = whole;
            while (++damaged[at] != whole[at]) {
                EXPECT_EQ(decode(record, damaged), 2);
                const bool is_accepted = round_trips(with_valid_frame(damaged));
                EXPECT_FALSE(is_accepted && at < 12); // magic, version, kind
                accepted += is_accepted ? 1 : 0;
            }
            for (const char byte : {'\0', '\1', '\xff'}) { // no, one, or all presence bits; or a part of a count
                round_trips(with_valid_frame(std::string(whole).insert(at, 1, byte)));
            }
            round_trips(with_valid_frame(std::string(whole).erase(at, 1)));
            EXPECT_EQ(decode(record, whole.substr(0, at)), 2);
            EXPECT_EQ(decode(record, with_valid_frame(whole.substr(0, at))), 2);
        }
        EXPECT_EQ(decode(record, whole + '@'), 2);
        EXPECT_EQ(decode(record, with_valid_frame(whole + '@')), 2); // bytes after the record
    }
    EXPECT_GT(accepted, 1000); // the decoder was tested, not only the checks before it
}

// Three nested arrays, each with a count that just fits into the remaining bytes. The decoder allocates all three
// before it notices that elements of the outer two are missing.
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
    EXPECT_FALSE(round_trips(with_valid_frame(bytes)));
    EXPECT_GT(hooks::allocated, 90 * bytes.size()); // close to the bound
}

TEST_F(CodecTest, CopiesAreDeepAndAllOrNothing)
{
    const Fetched original = {new_full_profile()};
    inst_swp_package &package = original.body().packages[0];
    package.presence[0] &= 0xfe; // its name counts as absent
    const std::string before = encoding_of(*original.ptr);
    inst_swp_package copy;
    int32_t status = 3;
    for (int nth = 1; status != 0; ++nth) {
        hooks::fail(hooks::ALLOCATION, nth);
        status = zeld_inst_swp_package_duplicate(&copy, &package, malloc, 0);
        EXPECT_EQ(status, hooks::orders[hooks::ALLOCATION].fired ? 3 : 0);
        hooks::reset();
        EXPECT_TRUE(status == 0 || (copy.presence[0] == 0 && copy.presence[1] == 0 && copy.files == nullptr));
    }
    EXPECT_EQ(copy.name, nullptr);
    EXPECT_NE(copy.files[0], package.files[0]);
    package.presence[0] |= 1;
    std::swap(package, copy);
    EXPECT_EQ(encoding_of(*original.ptr), before);
    zeld_inst_swp_package_free_ext(&copy, free);
    zeld_inst_swp_package_free_ext(&copy, free); // cleared, so that this is harmless
    zeld_inst_swp_package_free_ext(nullptr, free);
    EXPECT_NE(zeld_inst_swp_package_duplicate(&copy, nullptr, malloc, 0), 0);
    inst_swp_package without_files = {};
    inst_swp_package_set_files(&without_files, nullptr, 0);
    EXPECT_EQ(zeld_inst_swp_package_duplicate(&copy, &without_files, malloc, 0), 0);
    EXPECT_EQ(copy.files_count, 0U);
}

} // namespace
