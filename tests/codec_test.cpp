// Encoding, decoding, copying and releasing records. The bytes of a file are hostile.
#include "support/repository_test.h"

#include "zeld/bytes.h"
#include "zeld/wire.h"

#include <cstring>
#include <random>

namespace
{

using CodecTest = RepositoryTest;

int32_t decode(inst_sw_profile_sdr_ext &record, const std::string &bytes)
{
    // From a block of just this size, so that a look past its end is found out.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return zeld_inst_sw_profile_sdr_ext_decode_ext(&record, exact.data(), static_cast<uint32_t>(exact.size()), malloc,
                                                   0);
}

bool is_cleared(const inst_sw_profile_sdr_ext &record)
{
    const inst_sw_profile_sdr_ext cleared = {};
    return std::memcmp(&record, &cleared, sizeof record) == 0;
}

// Decodes to a record that encodes to the same bytes, or is refused with nothing left behind.
bool is_taken_exactly_or_refused(const std::string &bytes)
{
    inst_sw_profile_sdr_ext record = {};
    record.presence[0] = 0xff; // what a target held before doesn't matter
    record.sdr_sw_profile.sdr_key = reinterpret_cast<char *>(8);
    record.sdr_sw_profile.sw_profile.image.presence[1] = 0xff;
    const std::size_t before = hooks::allocated;
    const int32_t status = decode(record, bytes);
    EXPECT_LE(hooks::allocated - before, 170 * bytes.size());
    if (status != 0) {
        return is_cleared(record);
    }
    const bool is_same = encoding_of(record) == bytes;
    zeld_inst_sw_profile_sdr_ext_free_ext(&record, free);
    return is_same && is_cleared(record);
}

std::string with_right_checksum(std::string bytes)
{
    auto *const start = reinterpret_cast<uint8_t *>(bytes.data());
    zeld::store_little(start + 12, static_cast<uint32_t>(bytes.size()));
    bool has_zero = false;
    const zeld::Checksum checksum = zeld::checksum_of(start, bytes.size(), has_zero);
    zeld::store_little(start + zeld::CHECKSUM_AT, checksum.sum);
    zeld::store_little(start + zeld::CHECKSUM_AT + 8, checksum.mixed);
    return bytes;
}

std::string full_encoding()
{
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    const std::string bytes = encoding_of(*profile);
    inst_ldpath_free_swprofile_ext(&profile);
    return bytes;
}

// The encoding of a record is taken, and taken exactly.
bool survives(const inst_sw_profile_sdr_ext &record)
{
    inst_sw_profile_sdr_ext decoded;
    const bool is_taken = decode(decoded, encoding_of(record)) == 0;
    if (is_taken) {
        zeld_inst_sw_profile_sdr_ext_free_ext(&decoded, free);
    }
    return is_taken && is_taken_exactly_or_refused(encoding_of(record));
}

TEST_F(CodecTest, EveryStateOfARecordSurvives)
{
    EXPECT_TRUE(survives({}));
    Fetched decoded;
    decoded.ptr = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    ASSERT_EQ(decode(*decoded.ptr, full_encoding()), 0);
    EXPECT_EQ(encoding_of(*decoded.ptr), full_encoding());
    EXPECT_EQ(decoded.ptr->ext_value, 5U);
    EXPECT_EQ(decoded.ptr->presence[0], 7);
    EXPECT_EQ(decoded.ptr->sdr_sw_profile.presence[0], 0b1011); // the body's own bit isn't its members'
    const inst_sw_profile_info &body = decoded.body();
    const inst_swp_package &package = body.packages[0];
    EXPECT_EQ(package.presence[0], 0xff);
    EXPECT_EQ(package.presence[1], 3);
    EXPECT_EQ(package.pkg_value, UINT64_MAX);
    EXPECT_STREQ(package.files[0], "alpha-1.0-r1.rpm");
    EXPECT_EQ(package.files[1], nullptr);
    EXPECT_STREQ(package.files[2], "");
    EXPECT_EQ(package.extra_list_2, nullptr); // there, and empty
    EXPECT_EQ(body.sp_names[1], nullptr);
    EXPECT_EQ(decoded.ptr->sdr_sw_profile.loc_profiles[0].node_locs[0].loc_id_1, UINT32_MAX);
}

// A text and an array that are there but null, and members that aren't there, whatever they hold.
TEST_F(CodecTest, OddStates)
{
    inst_sw_profile_sdr_ext odd = {};
    inst_sw_profile_info &body = odd.sdr_sw_profile.sw_profile;
    EXPECT_FALSE(record::has<&inst_sw_profile_sdr_ext::sdr_sw_profile>(odd));
    record::set<&inst_swp_package::pkg_type>(body.image, 0);
    EXPECT_TRUE(record::has<&inst_sw_profile_info::image>(body));
    EXPECT_TRUE(record::has<&inst_sw_profile_sdr_ext::sdr_sw_profile>(odd)); // through all levels
    EXPECT_FALSE(zeld::is_present(body, 1));
    record::set<&inst_sw_profile_info::lv_name>(body, nullptr);
    record::set<&inst_sw_profile_info::packages>(body, nullptr, 1000000);
    body.sp_names = reinterpret_cast<char **>(8);
    body.sp_names_count = 1;
    EXPECT_TRUE(survives(odd));
    zeld_inst_sw_profile_sdr_ext_free_ext(&odd, free);

    inst_swp_package package = {};
    package.name = reinterpret_cast<char *>(8);
    package.pkg_type = 5;
    record::set<&inst_swp_package::files>(package, nullptr, 1000000);
    inst_swp_package copy;
    ASSERT_EQ(zeld_inst_swp_package_duplicate(&copy, &package, malloc, 0), 0);
    EXPECT_EQ(copy.name, nullptr);
    EXPECT_EQ(copy.pkg_type, 5U);
    EXPECT_EQ(copy.files_count, 0U);
    EXPECT_EQ(copy.presence[0], 2);
    zeld_inst_swp_package_free_ext(&package, free);
}

TEST_F(CodecTest, LengthsOfTexts)
{
    for (const std::size_t length : {0U, 1U, 127U, 128U, 16383U, 16384U, 300000U}) {
        inst_sw_profile_sdr_ext profile = {};
        std::string text(length, 'x');
        record::set<&inst_sw_profile_info::version>(profile.sdr_sw_profile.sw_profile, text.data());
        inst_sw_profile_sdr_ext decoded;
        ASSERT_EQ(decode(decoded, encoding_of(profile)), 0) << length;
        EXPECT_STREQ(decoded.sdr_sw_profile.sw_profile.version, text.c_str());
        EXPECT_EQ(encoding_of(decoded), encoding_of(profile));
        zeld_inst_sw_profile_sdr_ext_free_ext(&decoded, free);
    }
    // A short text in the form of a long one.
    inst_sw_profile_sdr_ext profile = {};
    std::string text = "x";
    record::set<&inst_sw_profile_info::version>(profile.sdr_sw_profile.sw_profile, text.data());
    std::string bytes = encoding_of(profile);
    bytes.replace(bytes.find("\x81\x80x"), 2, "\x02\x41");
    EXPECT_NE(decode(profile, with_right_checksum(bytes)), 0);
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

TEST_F(CodecTest, EveryDamagedByteIsFound)
{
    const std::string whole = full_encoding();
    inst_sw_profile_sdr_ext record;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const int change : {1, 2, 0x40, 0x80, 0xff}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(damaged[at] ^ change);
            EXPECT_NE(decode(record, damaged), 0) << at;
            EXPECT_TRUE(at >= 12 || decode(record, with_right_checksum(damaged)) != 0) << at; // magic, version, kind
        }
        EXPECT_NE(decode(record, whole.substr(0, at)), 0) << at;
    }
    EXPECT_NE(decode(record, whole + '@'), 0);
    EXPECT_NE(decode(record, with_right_checksum(whole + '@')), 0); // bytes behind the record
    EXPECT_NE(decode(record, ""), 0);
}

// Two versions of a profile that differ at regular distances by what would cancel out in sums.
TEST_F(CodecTest, MixturesAreFound)
{
    const auto encoding_with = [](const std::vector<uint32_t> &types) {
        std::vector<inst_swp_package> packages(types.size());
        std::string name = "a-name-of-twenty-six-bytes"; // entries of 32 bytes
        for (std::size_t i = 0; i < types.size(); ++i) {
            record::set<&inst_swp_package::name>(packages[i], name.data());
            record::set<&inst_swp_package::pkg_type>(packages[i], types[i]);
            record::set<&inst_swp_package::extra_list>(packages[i], nullptr, 0);
        }
        inst_sw_profile_sdr_ext profile = {};
        record::set<&inst_sw_profile_info::packages>(profile.sdr_sw_profile.sw_profile, packages.data(),
                                                     static_cast<uint32_t>(packages.size()));
        return encoding_of(profile);
    };
    const std::string one = encoding_with({1, 2, 2, 1, 1, 2, 2, 1});
    const std::string other = encoding_with({2, 1, 1, 2, 2, 1, 1, 2});
    ASSERT_EQ(one.size(), other.size());
    for (std::size_t at = 1; at < one.size(); ++at) {
        const std::string mixture = one.substr(0, at) + other.substr(at);
        inst_sw_profile_sdr_ext record;
        if (mixture != one && mixture != other) {
            EXPECT_NE(decode(record, mixture), 0) << at;
        }
    }
}

TEST_F(CodecTest, HostileBytesAreTakenExactlyOrRefused)
{
    std::mt19937 random(4711);
    const std::string whole = full_encoding();
    int taken = 0;
    for (int round = 0; round < 60000; ++round) {
        std::string bytes = whole;
        for (uint32_t i = 0, changes = 1 + random() % 4; i < changes; ++i) {
            const std::size_t at = zeld::HEADER_SIZE + random() % (bytes.size() - zeld::HEADER_SIZE);
            switch (random() % 4) {
            case 0:
                bytes[at] = static_cast<char>(random());
                break;
            case 1:
                bytes.erase(at, 1 + random() % 3);
                break;
            case 2:
                bytes.insert(at, 1 + random() % 11, "\x81\xbf\x7f\xff\x40"[random() % 5]); // numbers grow
                break;
            default:
                bytes[at] = static_cast<char>(bytes[at] + (random() % 2 != 0 ? 1 : -1));
            }
        }
        ASSERT_TRUE(is_taken_exactly_or_refused(bytes));
        ASSERT_TRUE(is_taken_exactly_or_refused(with_right_checksum(bytes))) << round;
        inst_sw_profile_sdr_ext record;
        if (decode(record, with_right_checksum(bytes)) == 0) {
            ++taken;
            zeld_inst_sw_profile_sdr_ext_free_ext(&record, free);
        }
    }
    EXPECT_GT(taken, 1000); // the decoder itself was tested, not only its front door
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
