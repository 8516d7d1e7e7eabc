#include "floors.h"

#include "instcomm.h"
#include "zeld/wire.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench
{
namespace
{

void add_block(Blocks &plan, std::size_t size, const char *text)
{
    plan.blocks.push_back({size, text});
}

void add_text(Blocks &plan, const char *text)
{
    if (text != nullptr) {
        plan.release_order.push_back(static_cast<uint32_t>(plan.blocks.size()));
        add_block(plan, std::strlen(text) + 1, text);
    }
}

void add_package(Blocks &plan, const inst_swp_package &package)
{
    add_text(plan, package.name);
    if (package.files_count == 0) {
        return;
    }
    const auto array = static_cast<uint32_t>(plan.blocks.size());
    add_block(plan, package.files_count * sizeof(char *), nullptr);
    for (uint32_t i = 0; i < package.files_count; ++i) {
        add_text(plan, package.files[i]);
    }
    plan.release_order.push_back(array); // an array is freed after its elements
}

void write_file(const char *path, const void *bytes, std::size_t size)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    benchmark::DoNotOptimize(write(fd, bytes, size));
    close(fd);
}

} // namespace

Blocks blocks_of_packages(const inst_sw_profile_sdr_ext &profile)
{
    const inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    Blocks plan;
    for (uint32_t i = 0; i < body.packages_count; ++i) {
        add_package(plan, body.packages[i]);
    }
    plan.memory.resize(plan.blocks.size());
    return plan;
}

Blocks blocks_of_profile(const inst_sw_profile_sdr_ext &profile)
{
    const inst_sw_profile_sdr &sdr = profile.sdr_sw_profile;
    const inst_sw_profile_info &body = sdr.sw_profile;
    Blocks plan;
    add_text(plan, sdr.sdr_key);
    add_package(plan, body.image);
    const auto array = static_cast<uint32_t>(plan.blocks.size());
    add_block(plan, body.packages_count * sizeof(inst_swp_package), nullptr);
    for (uint32_t i = 0; i < body.packages_count; ++i) {
        add_package(plan, body.packages[i]);
    }
    plan.release_order.push_back(array);
    add_text(plan, body.version);
    plan.memory.resize(plan.blocks.size());
    return plan;
}

void encode_floor(const Blocks &plan, std::vector<uint8_t> &buffer)
{
    uint8_t *at = buffer.data();
    for (const Blocks::Block &block : plan.blocks) {
        if (block.text != nullptr) {
            const std::size_t length = std::strlen(block.text);
            std::memcpy(at, block.text, length);
            at += length;
        }
    }
    bool has_zero = false;
    benchmark::DoNotOptimize(zeld::checksum_of(buffer.data(), buffer.size(), has_zero));
}

void decode_floor(Blocks &plan, const std::vector<uint8_t> &encoding)
{
    bool has_zero = false;
    benchmark::DoNotOptimize(zeld::checksum_of(encoding.data(), encoding.size(), has_zero));
    const uint8_t *at = encoding.data();
    void **memory = plan.memory.data();
    for (const Blocks::Block &block : plan.blocks) {
        *memory = std::malloc(block.size);
        if (block.text != nullptr) {
            std::memcpy(*memory, at, block.size - 1);
            static_cast<char *>(*memory)[block.size - 1] = '\0';
            at += block.size - 1;
        }
        ++memory;
    }
}

void duplicate_floor(Blocks &plan)
{
    void **memory = plan.memory.data();
    for (const Blocks::Block &block : plan.blocks) {
        if (block.text != nullptr) {
            const std::size_t size = std::strlen(block.text) + 1;
            *memory = std::malloc(size);
            std::memcpy(*memory, block.text, size);
        } else {
            *memory = std::malloc(block.size);
        }
        ++memory;
    }
}

void free_floor(Blocks &plan)
{
    for (const uint32_t index : plan.release_order) {
        std::free(plan.memory[index]);
    }
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
