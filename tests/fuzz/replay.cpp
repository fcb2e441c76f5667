// Replays inputs through a fuzz target without libFuzzer, in the sanitized
// test build: every file of every folder named, in name order. An input that
// takes longer than the time limit ends the run, as does a sanitizer report.
//
// Usage: replay <seconds per input> <folder>...
// SPDX-License-Identifier: MIT

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    const auto limit = static_cast<unsigned>(argc > 1 ? atoi(argv[1]) : 0);
    std::vector<std::filesystem::path> files;
    for (int i = 2; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        std::vector<uint8_t> input(std::filesystem::file_size(file));
        std::ifstream(file, std::ios::binary)
            .read(reinterpret_cast<char*>(input.data()), static_cast<long>(input.size()));
        static const uint8_t no_bytes = 0; // an empty input still has an address
        const auto start = std::chrono::steady_clock::now();
        alarm(limit); // its default action ends the run
        LLVMFuzzerTestOneInput(input.empty() ? &no_bytes : input.data(), input.size());
        alarm(0);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        fprintf(stderr, "%.3f s  %s (%zu bytes)\n", took.count(), file.c_str(), input.size());
    }
    fprintf(stderr, "%zu inputs replayed\n", files.size());
    return limit > 0 && !files.empty() ? 0 : 1;
}
