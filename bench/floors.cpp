#include "floors.h"

#include "instcomm.h"
#include "sample_profile.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <numeric>
#include <sys/stat.h>
#include <unistd.h>

namespace bench
{
namespace
{

struct Writer {
    uint8_t *at;

    void put(const char *text)
    {
        const std::size_t length = std::strlen(text);
        std::memcpy(at, text, length);
        at += length;
    }

    template <class T> void put_number(T value)
    {
        std::memcpy(at, &value, sizeof value);
        at += sizeof value;
    }
};

struct Reader {
    const uint8_t *at;
    const uint32_t *size;

    char *text()
    {
        const std::size_t length = *size++;
        auto *const copy = static_cast<char *>(std::malloc(length + 1));
        std::memcpy(copy, at, length);
        copy[length] = '\0';
        at += length;
        return copy;
    }

    template <class T> void get_number(T &value)
    {
        std::memcpy(&value, at, sizeof value);
        at += sizeof value;
    }
};

char *copy_of(const char *text)
{
    const std::size_t size = std::strlen(text) + 1;
    return static_cast<char *>(std::memcpy(std::malloc(size), text, size));
}

void write_file(const char *path, const void *bytes, std::size_t size)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    benchmark::DoNotOptimize(write(fd, bytes, size));
    close(fd);
}

} // namespace

void encode_floor(const inst_sw_profile_sdr_ext &profile, PlainBytes &plain)
{
    const inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    Writer out = {plain.bytes.data()};
    out.put_number(profile.sdr_sw_profile.vm_type);
    out.put(profile.sdr_sw_profile.sdr_key);
    out.put(body.image.name);
    for (uint32_t i = 0; i < body.packages_count; ++i) {
        const inst_swp_package &package = body.packages[i];
        out.put(package.name);
        for (uint32_t file = 0; file < package.files_count; ++file) {
            out.put(package.files[file]);
        }
        if (package.aux_name != nullptr) {
            out.put(package.aux_name);
        }
        out.put_number(package.pkg_value);
        out.put_number(package.pkg_type);
        out.put_number(package.pkg_marker);
        out.put_number(package.is_sp_pkg);
        out.put_number(package.extra_value);
    }
    out.put(body.version);
}

PlainBytes plain_bytes_of(const inst_sw_profile_sdr_ext &profile)
{
    const inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    PlainBytes plain;
    plain.packages = body.packages_count;
    const auto add = [&](const char *text) { plain.text_sizes.push_back(static_cast<uint32_t>(std::strlen(text))); };
    add(profile.sdr_sw_profile.sdr_key);
    add(body.image.name);
    for (uint32_t i = 0; i < body.packages_count; ++i) {
        const inst_swp_package &package = body.packages[i];
        add(package.name);
        std::for_each_n(package.files, package.files_count, add);
        if (package.aux_name != nullptr) {
            add(package.aux_name);
        }
    }
    add(body.version);
    plain.bytes.resize(std::accumulate(plain.text_sizes.begin(), plain.text_sizes.end(), std::size_t{0}) +
                       sizeof(inst_swp_package) * (plain.packages + 1)); // more than enough for the numbers
    encode_floor(profile, plain);
    return plain;
}

void decode_floor(const PlainBytes &plain, inst_sw_profile_sdr_ext &profile)
{
    inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    Reader in = {plain.bytes.data(), plain.text_sizes.data()};
    in.get_number(profile.sdr_sw_profile.vm_type);
    profile.sdr_sw_profile.sdr_key = in.text();
    body.image.name = in.text();
    body.packages = static_cast<inst_swp_package *>(std::malloc(plain.packages * sizeof(inst_swp_package)));
    body.packages_count = plain.packages;
    for (uint32_t i = 0; i < plain.packages; ++i) {
        inst_swp_package &package = body.packages[i];
        package.name = in.text();
        package.files = static_cast<char **>(std::malloc(SAMPLE_FILES * sizeof(char *)));
        package.files_count = SAMPLE_FILES;
        for (uint32_t file = 0; file < SAMPLE_FILES; ++file) {
            package.files[file] = in.text();
        }
        package.aux_name = has_second_name(i) ? in.text() : nullptr;
        in.get_number(package.pkg_value);
        in.get_number(package.pkg_type);
        in.get_number(package.pkg_marker);
        in.get_number(package.is_sp_pkg);
        in.get_number(package.extra_value);
    }
    body.version = in.text();
}

void duplicate_floor(const inst_swp_package *packages, std::vector<inst_swp_package> &copies)
{
    for (inst_swp_package &copy : copies) {
        const inst_swp_package &package = *packages++;
        copy.name = copy_of(package.name);
        copy.files = static_cast<char **>(std::malloc(package.files_count * sizeof(char *)));
        copy.files_count = package.files_count;
        for (uint32_t file = 0; file < package.files_count; ++file) {
            copy.files[file] = copy_of(package.files[file]);
        }
        copy.aux_name = package.aux_name == nullptr ? nullptr : copy_of(package.aux_name);
        copy.pkg_value = package.pkg_value;
        copy.pkg_type = package.pkg_type;
        copy.pkg_marker = package.pkg_marker;
        copy.is_sp_pkg = package.is_sp_pkg;
        copy.extra_value = package.extra_value;
    }
}

void free_floor(inst_swp_package *packages, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        std::free(packages[i].name);
        for (uint32_t file = 0; file < packages[i].files_count; ++file) {
            std::free(packages[i].files[file]);
        }
        std::free(packages[i].files);
        std::free(packages[i].aux_name);
    }
}

void free_floor(inst_sw_profile_sdr_ext &profile)
{
    inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    std::free(profile.sdr_sw_profile.sdr_key);
    std::free(body.image.name);
    free_floor(body.packages, body.packages_count);
    std::free(body.packages);
    std::free(body.version);
}

inst_sw_profile_sdr_ext *fetch_floor(const char *path)
{
    const int fd = open(path, O_RDONLY);
    struct stat status;
    fstat(fd, &status);
    const auto size = static_cast<std::size_t>(status.st_size);
    void *const bytes = std::malloc(size);
    benchmark::DoNotOptimize(read(fd, bytes, size));
    close(fd);
    auto *const profile = static_cast<inst_sw_profile_sdr_ext *>(std::malloc(sizeof(inst_sw_profile_sdr_ext)));
    zeld_inst_sw_profile_sdr_ext_decode_ext(profile, bytes, static_cast<uint32_t>(size), std::malloc, 0);
    std::free(bytes);
    return profile;
}

void store_floor(const inst_sw_profile_sdr_ext &profile, const char *bin_path, const char *txt_path)
{
    const uint32_t size = zeld_inst_sw_profile_sdr_ext_encode_ext(&profile, nullptr, 0, 0, 0, 0);
    void *const bytes = std::malloc(size);
    zeld_inst_sw_profile_sdr_ext_encode_ext(&profile, bytes, size, 0, 0, 0);
    write_file(bin_path, bytes, size);
    sync();
    benchmark::DoNotOptimize(std::system("sync"));

    void *const found = std::malloc(size);
    const int fd = open(bin_path, O_RDONLY);
    benchmark::DoNotOptimize(read(fd, found, size));
    close(fd);
    benchmark::DoNotOptimize(std::memcmp(bytes, found, size));
    std::free(found);
    std::free(bytes);

    char *text = nullptr;
    instcomm_get_swprofile_sdr_str(&profile, &text, 1, nullptr);
    write_file(txt_path, text, std::strlen(text));
    std::free(text);
    sync();
    sync();
}

} // namespace bench
