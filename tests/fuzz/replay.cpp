// Replays inputs through a fuzz target without libFuzzer, in the sanitized
// test build: every file named, and every file in every folder named. An input
// that takes longer than the time limit ends the run, as does any sanitizer
// report.
//
// Usage: replay <seconds per input> <file or folder>...

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace {

std::vector<std::string> inputs_of(const std::string& path)
{
    std::vector<std::string> files;
    if (!std::filesystem::is_directory(path)) {
        files.push_back(path);
        return files;
    }
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path().string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<uint8_t> read_input(const std::string& path)
{
    std::vector<uint8_t> bytes(std::filesystem::file_size(path));
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr || fread(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
        fprintf(stderr, "cannot read %s\n", path.c_str());
        exit(2);
    }
    fclose(file);
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        fprintf(stderr, "usage: %s <seconds per input> <file or folder>...\n", argv[0]);
        return 2;
    }
    const auto limit = static_cast<unsigned>(atoi(argv[1]));
    int count = 0;
    for (int i = 2; i < argc; ++i) {
        for (const std::string& file : inputs_of(argv[i])) {
            const std::vector<uint8_t> input = read_input(file);
            fprintf(stderr, "input %s (%zu bytes)\n", file.c_str(), input.size());
            static const uint8_t no_bytes = 0; // an empty input still has an address
            const auto start = std::chrono::steady_clock::now();
            alarm(limit); // its default action ends the run
            LLVMFuzzerTestOneInput(input.empty() ? &no_bytes : input.data(), input.size());
            alarm(0);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            fprintf(stderr, "      %.3f s\n", took.count());
            ++count;
        }
    }
    fprintf(stderr, "%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
