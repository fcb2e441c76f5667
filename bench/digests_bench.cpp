// SPDX-License-Identifier: MIT
#include "bench/benchmarks.h"

#include "firmpack/checksum.h"
#include "firmpack/fit.h"
#include "firmpack/md5.h"
#include "firmpack/sha1.h"
#include "firmpack/verify.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// Each measurement starts on warm caches and a settled clock.
constexpr double WARM_UP_SECONDS = 0.3;
// A pass over the large firmpack takes most of a second: several per figure.
constexpr double FIRMPACK_SECONDS = 3.0;

constexpr std::array<uint32_t, 256> make_byte_table()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t reg = n;
        for (int step = 0; step < 8; ++step) {
            reg = (reg & 1) != 0 ? (reg >> 1) ^ 0xEDB88320u : reg >> 1;
        }
        table[n] = reg;
    }
    return table;
}

constexpr std::array<uint32_t, 256> byte_table = make_byte_table();

// The textbook CRC-32 loop, one table step per byte: the floor that the
// word-at-a-time loop is measured against.
uint32_t bytewise_crc32(const uint8_t* data, uint32_t length)
{
    uint32_t reg = 0xFFFFFFFFu;
    for (uint32_t i = 0; i < length; ++i) {
        reg = byte_table[(reg ^ data[i]) & 0xFF] ^ (reg >> 8);
    }
    return ~reg;
}

// Reads every byte once and nothing more: the speed limit of any checksum.
uint64_t read_memory(const uint8_t* data, uint32_t length)
{
    uint64_t sum = 0;
    for (uint32_t i = 0; i + 8 <= length; i += 8) {
        uint64_t word;
        memcpy(&word, data + i, sizeof word);
        sum += word;
    }
    return sum;
}

const uint8_t* random_input()
{
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> v(LARGE_INPUT);
        uint64_t state = 0x9E3779B97F4A7C15ull;
        for (uint8_t& b : v) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            b = static_cast<uint8_t>(state >> 24);
        }
        return v;
    }();
    return bytes.data();
}

// Runs compute over size bytes of the input per iteration.
template <typename Compute> void register_throughput(const std::string& name, Compute compute)
{
    for (uint32_t size : {SMALL_INPUT, LARGE_INPUT}) {
        benchmark::RegisterBenchmark((name + "/" + size_name(size)).c_str(),
                                     [compute, size](benchmark::State& state) {
                                         const uint8_t* data = random_input();
                                         for (auto _ : state) {
                                             compute(data, size);
                                             benchmark::ClobberMemory();
                                         }
                                         state.SetBytesProcessed(
                                             static_cast<int64_t>(state.iterations()) * size);
                                     })
            ->MinWarmUpTime(WARM_UP_SECONDS);
    }
}

void openssl_digest(const char* algorithm, const uint8_t* data, uint32_t size)
{
    static EVP_MD* md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
    static EVP_MD* sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    EVP_Digest(data, size, digest, &length, strcmp(algorithm, "MD5") == 0 ? md5 : sha1, nullptr);
    benchmark::DoNotOptimize(digest);
}

// The digests the hash check computes, called directly on the same data.
void digest_images(const uint8_t* fit)
{
    for (const char* image : {"image@1", "image@2"}) {
        const uint8_t* data = nullptr;
        uint32_t size = 0;
        if (firmpack_get_data(fit, firmpack_image_node(fit, image), &data, &size) != 0) {
            fprintf(stderr, "benchmark firmpack has no %s\n", image);
            exit(1);
        }
        uint8_t md5[MD5_DIGEST_SIZE];
        uint8_t sha1[SHA1_DIGEST_SIZE];
        benchmark::DoNotOptimize(checksum_crc32(0, data, size));
        digest_sha1(data, size, sha1);
        digest_md5(data, size, md5);
        benchmark::DoNotOptimize(sha1);
        benchmark::DoNotOptimize(md5);
    }
}

void register_firmpack_check()
{
    static uint32_t size = 0;
    static const uint8_t* fit = map_file(FPU_BENCH_FIRMPACK, &size);
    const std::string suffix = "/" + std::to_string(size >> 20) + "MiB";
    benchmark::RegisterBenchmark(("check_hashes/firmpack" + suffix).c_str(),
                                 [](benchmark::State& state) {
                                     for (auto _ : state) {
                                         if (check_hashes_quietly(fit, HASHES_UNSIGNED) != 1) {
                                             state.SkipWithError("hash check failed");
                                         }
                                     }
                                     state.SetBytesProcessed(
                                         static_cast<int64_t>(state.iterations()) * size);
                                 })
        ->MinWarmUpTime(FIRMPACK_SECONDS / 3)
        ->MinTime(FIRMPACK_SECONDS);
    benchmark::RegisterBenchmark(("check_hashes/digests" + suffix).c_str(),
                                 [](benchmark::State& state) {
                                     for (auto _ : state) {
                                         digest_images(fit);
                                     }
                                     state.SetBytesProcessed(
                                         static_cast<int64_t>(state.iterations()) * size);
                                 })
        ->MinWarmUpTime(FIRMPACK_SECONDS / 3)
        ->MinTime(FIRMPACK_SECONDS);
}

} // namespace

const uint8_t* map_file(const char* path, uint32_t* size)
{
    int fd = open(path, O_RDONLY);
    struct stat info {};
    if (fd < 0 || fstat(fd, &info) != 0) {
        perror(path);
        exit(1);
    }
    void* start = mmap(nullptr, static_cast<std::size_t>(info.st_size), PROT_READ,
                       MAP_SHARED | MAP_POPULATE, fd, 0);
    if (start == MAP_FAILED) {
        perror(path);
        exit(1);
    }
    close(fd);
    *size = static_cast<uint32_t>(info.st_size);
    return static_cast<const uint8_t*>(start);
}

// The hash check prints its progress; the measurement sends it to /dev/null.
int check_hashes_quietly(const uint8_t* fit, hash_set set)
{
    fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    int result = firmpack_check_hashes(fit, set);
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(null);
    close(saved);
    return result;
}

std::string size_name(uint32_t size)
{
    return std::to_string(size >> 20) + "MiB";
}

void register_all_benchmarks()
{
    register_throughput("read/memory", [](const uint8_t* data, uint32_t size) {
        benchmark::DoNotOptimize(read_memory(data, size));
    });
    register_throughput("crc32/own", [](const uint8_t* data, uint32_t size) {
        benchmark::DoNotOptimize(checksum_crc32(0, data, size));
    });
    register_throughput("crc32/zlib", [](const uint8_t* data, uint32_t size) {
        benchmark::DoNotOptimize(crc32(0, data, size));
    });
    register_throughput("crc32/bytewise", [](const uint8_t* data, uint32_t size) {
        benchmark::DoNotOptimize(bytewise_crc32(data, size));
    });
    register_throughput("md5/own", [](const uint8_t* data, uint32_t size) {
        uint8_t digest[MD5_DIGEST_SIZE];
        digest_md5(data, size, digest);
        benchmark::DoNotOptimize(digest);
    });
    register_throughput("md5/openssl", [](const uint8_t* data, uint32_t size) {
        openssl_digest("MD5", data, size);
    });
    register_sha1_pair("");
    register_firmpack_check();
    register_signature_benchmarks();
    register_acceptance_benchmarks();
}

void register_sha1_pair(const std::string& variant)
{
    std::string suffix = variant.empty() ? "" : "_" + variant;
    register_throughput("sha1/own" + suffix, [](const uint8_t* data, uint32_t size) {
        uint8_t digest[SHA1_DIGEST_SIZE];
        digest_sha1(data, size, digest);
        benchmark::DoNotOptimize(digest);
    });
    register_throughput("sha1/openssl" + suffix, [](const uint8_t* data, uint32_t size) {
        openssl_digest("SHA1", data, size);
    });
}
