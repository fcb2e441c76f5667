// The acceptance of a signed pair of 128 MiB (two 64 MiB filesystems) on a
// board with its key file, against the same pair on a board without one,
// where the signature nodes are passed over: what verifying the signatures
// adds to the acceptance, whose hash checks are the same.
// SPDX-License-Identifier: MIT
#include "acceptance/pair.h"
#include "bench/benchmarks.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr uint32_t BOARD = 0x105;
constexpr double ACCEPTANCE_SECONDS = 4.0;

// accept_pair with its lines sent to /dev/null.
pair_verdict accept_quietly(firmpack_pair* pair)
{
    fflush(stdout);
    const int saved = dup(STDOUT_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    int result = 0;
    const pair_verdict verdict = accept_pair(pair, &result);
    fflush(stdout);
    dup2(saved, STDOUT_FILENO);
    close(null);
    close(saved);
    return verdict;
}

void register_acceptance(const char* name, firmpack_input os, firmpack_input app,
                         const char* key_file)
{
    benchmark::RegisterBenchmark(name,
                                 [os, app, key_file](benchmark::State& state) {
                                     for (auto _ : state) {
                                         firmpack_pair pair{os, app, BOARD, key_file};
                                         if (accept_quietly(&pair) != PAIR_ACCEPTED) {
                                             state.SkipWithError("the pair was not accepted");
                                         }
                                     }
                                     state.SetBytesProcessed(
                                         static_cast<int64_t>(state.iterations()) *
                                         (int64_t{os.size} + app.size));
                                 })
        ->MinWarmUpTime(ACCEPTANCE_SECONDS / 4)
        ->MinTime(ACCEPTANCE_SECONDS);
}

} // namespace

void register_acceptance_benchmarks()
{
    uint32_t os_size = 0;
    uint32_t app_size = 0;
    const uint8_t* os = map_file(FPU_BENCH_PAIR "/signed_os.img", &os_size);
    const uint8_t* app = map_file(FPU_BENCH_PAIR "/signed_app.img", &app_size);
    const firmpack_input os_input{os, os_size, "signed_os.img"};
    const firmpack_input app_input{app, app_size, "signed_app.img"};
    register_acceptance(ACCEPTANCE_SIGNED, os_input, app_input, FPU_BENCH_PAIR "/signed_keys.dtb");
    register_acceptance(ACCEPTANCE_UNSIGNED, os_input, app_input, nullptr);
}
