// SPDX-License-Identifier: MIT
#include "bench/benchmarks.h"

#include "firmpack/fit.h"
#include "firmpack/keys.h"
#include "firmpack/signature.h"

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr double WARM_UP_SECONDS = 0.3;
constexpr double FIRMPACK_SECONDS = 3.0;

constexpr const char* BOARD_CONFIG = "board_0x0105";
const char* const OS_IMAGES[] = {"firmware", "filesystem", "fdt"};
const char* const SIGNED_IMAGES[] = {"bootloader@1", "rootfs@1", "fdt@1"};

// The keys of a key file a benchmark firmpack was signed for; the keys and
// the mapped file stay until the process ends.
const firmpack_keys* read_bench_keys(const char* path, firmpack_keys* keys)
{
    uint32_t size = 0;
    const uint8_t* file = map_file(path, &size);
    if (firmpack_read_keys(file, size, keys) != KEYS_READ) {
        fprintf(stderr, "%s holds no key\n", path);
        exit(1);
    }
    return keys;
}

void register_signature_check(const uint8_t* fit, const firmpack_keys* keys,
                              const std::string& size_label)
{
    benchmark::RegisterBenchmark(
        ("check_signature/firmpack/" + size_label).c_str(),
        [fit, keys](benchmark::State& state) {
            for (auto _ : state) {
                signature_finding finding{};
                if (firmpack_check_signature(fit, BOARD_CONFIG, OS_IMAGES, std::size(OS_IMAGES),
                                             keys, &finding) != SIGNATURE_VERIFIED) {
                    state.SkipWithError("signature check failed");
                }
            }
            state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
        })
        ->MinWarmUpTime(WARM_UP_SECONDS);
}

// SHA-256 of every image's data through OpenSSL, what the hash check of the
// signed firmpack digests.
void openssl_sha256_images(const uint8_t* fit)
{
    for (const char* image : SIGNED_IMAGES) {
        const uint8_t* data = nullptr;
        uint32_t size = 0;
        if (firmpack_get_data(fit, firmpack_image_node(fit, image), &data, &size) != 0) {
            fprintf(stderr, "signed benchmark firmpack has no %s\n", image);
            exit(1);
        }
        uint8_t digest[EVP_MAX_MD_SIZE];
        unsigned length = 0;
        EVP_Digest(data, size, digest, &length, EVP_sha256(), nullptr);
        benchmark::DoNotOptimize(digest);
    }
}

void register_sha256_check(const uint8_t* fit, uint32_t size)
{
    const std::string suffix = "/" + size_name(size);
    benchmark::RegisterBenchmark(("check_hashes/signed_firmpack" + suffix).c_str(),
                                 [fit, size](benchmark::State& state) {
                                     for (auto _ : state) {
                                         if (check_hashes_quietly(fit, HASHES_SIGNED) != 1) {
                                             state.SkipWithError("hash check failed");
                                         }
                                     }
                                     state.SetBytesProcessed(
                                         static_cast<int64_t>(state.iterations()) * size);
                                 })
        ->MinWarmUpTime(FIRMPACK_SECONDS / 3)
        ->MinTime(FIRMPACK_SECONDS);
    benchmark::RegisterBenchmark(("check_hashes/openssl_sha256" + suffix).c_str(),
                                 [fit, size](benchmark::State& state) {
                                     for (auto _ : state) {
                                         openssl_sha256_images(fit);
                                     }
                                     state.SetBytesProcessed(
                                         static_cast<int64_t>(state.iterations()) * size);
                                 })
        ->MinWarmUpTime(FIRMPACK_SECONDS / 3)
        ->MinTime(FIRMPACK_SECONDS);
}

} // namespace

void register_signature_benchmarks()
{
    uint32_t large_size = 0;
    uint32_t small_size = 0;
    const uint8_t* large = map_file(FPU_BENCH_SIGNED_LARGE, &large_size);
    const uint8_t* small = map_file(FPU_BENCH_SIGNED_SMALL, &small_size);
    static firmpack_keys large_keys{};
    static firmpack_keys small_keys{};
    register_signature_check(large, read_bench_keys(FPU_BENCH_KEYS_LARGE, &large_keys),
                             size_name(large_size));
    register_signature_check(small, read_bench_keys(FPU_BENCH_KEYS_SMALL, &small_keys), "small");
    register_sha256_check(large, large_size);
}
