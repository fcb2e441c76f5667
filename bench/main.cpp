// Runs the measurements and prints how our code compares with each reference.
//
// OpenSSL picks its SHA-1 code when it is loaded, from the CPU's features less
// those masked in OPENSSL_ia32cap. To compare with its portable code as well
// as its SHA-NI code in one run, the program runs itself once per mask with
// only the two SHA-1s registered, and collects those figures first.
// SPDX-License-Identifier: MIT

#include "bench/benchmarks.h"

#include <benchmark/benchmark.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* VARIANT_ENV = "FPU_BENCH_OPENSSL_VARIANT";
constexpr const char* CHILD_RESULT = "RESULT";

struct openssl_variant {
    const char* name;
    const char* ia32cap;
};

constexpr openssl_variant OPENSSL_VARIANTS[] = {
    {"no_shani", ":~0x20000000"},                   // SHA extensions masked
    {"integer", "~0x1000020000000000:~0x20000020"}, // SSSE3, AVX, AVX2, SHA masked
};

struct comparison {
    const char* own;
    const char* reference;
    const char* label;
    double target; // least acceptable own/reference throughput; 0: none
};

// The word loop of our CRC-32 keeps the byte loop's one chain of dependent
// table loads (one per byte, with the one 256-entry table); it only takes the
// XOR of each data byte off that chain, about one cycle in eight. 1.10 is
// what that allows with room for noise.
constexpr comparison COMPARISONS[] = {
    {"crc32/own", "crc32/zlib", "zlib crc32", 0},
    {"crc32/own", "crc32/bytewise", "byte-at-a-time CRC loop", 1.10},
    {"crc32/own", "read/memory", "plain memory read", 0},
    {"md5/own", "md5/openssl", "OpenSSL MD5", 0.95},
    {"sha1/own", "sha1/openssl", "OpenSSL SHA-1", 0},
    {"sha1/own_no_shani", "sha1/openssl_no_shani", "OpenSSL SHA-1, SHA-NI masked", 0},
    {"sha1/own_integer", "sha1/openssl_integer", "OpenSSL SHA-1, integer code", 0.9},
};

constexpr double CHECK_HASHES_TARGET = 1.05; // time of the check / time of its digests

// The hash checks measured beside the digests they compute, called directly.
struct hash_check_comparison {
    const char* check;
    const char* digests;
    const char* label;
};

constexpr hash_check_comparison HASH_CHECKS[] = {
    {"check_hashes/firmpack/", "check_hashes/digests/", "crc32, sha1 and md5 records"},
    {"check_hashes/signed_firmpack/", "check_hashes/openssl_sha256/",
     "sha256 records (OpenSSL's SHA-256)"},
};

// The signature check takes the same time whatever the size of the images:
// its bytes leave their data out.
constexpr const char* SIGNATURE_CHECK = "check_signature/firmpack/";
constexpr const char* SIGNATURE_CHECK_SMALL = "check_signature/firmpack/small";
constexpr double SIGNATURE_SIZE_TARGET = 1.10; // time on 128 MiB / time on a few KiB
// What verifying both signatures may add to the acceptance of a signed pair.
constexpr double ACCEPTANCE_TARGET = 1.01; // time with the key file / time without

// Bytes per second by benchmark name; calls per second for the signature check.
using rates = std::map<std::string, double>;

// Console output as usual, and every rate kept for the ratio table.
class recording_reporter : public benchmark::ConsoleReporter {
  public:
    recording_reporter(rates* recorded, bool echo) : recorded_(recorded), echo_(echo) {}

    bool ReportContext(const Context& context) override
    {
        return echo_ ? ConsoleReporter::ReportContext(context) : true;
    }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        // One run, or the median of repeated runs (reported after them).
        for (const Run& run : runs) {
            auto rate = run.counters.find("bytes_per_second");
            if (rate == run.counters.end()) {
                rate = run.counters.find("items_per_second");
            }
            bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
            if (!run.error_occurred && rate != run.counters.end() &&
                (run.run_type == Run::RT_Iteration || median)) {
                (*recorded_)[run.run_name.function_name] = rate->second.value;
            }
        }
        if (echo_) {
            ConsoleReporter::ReportRuns(runs);
        }
    }

  private:
    rates* recorded_;
    bool echo_;
};

std::string own_path()
{
    char path[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
    if (length < 0) {
        perror("/proc/self/exe");
        exit(1);
    }
    return std::string(path, static_cast<std::size_t>(length));
}

// Runs this program with OpenSSL's features masked and adds its figures.
void measure_openssl_variant(const openssl_variant& variant, const std::string& arguments,
                             rates* recorded)
{
    std::string command = "OPENSSL_ia32cap='" + std::string(variant.ia32cap) + "' " + VARIANT_ENV +
                          "=" + variant.name + " '" + own_path() + "'" + arguments;
    fprintf(stderr, "Measuring SHA-1 beside OpenSSL with OPENSSL_ia32cap=%s ...\n",
            variant.ia32cap);
    fflush(stdout);
    FILE* child = popen(command.c_str(), "r");
    if (child == nullptr) {
        perror("popen");
        return;
    }
    char line[512];
    while (fgets(line, sizeof line, child) != nullptr) {
        char tag[16];
        char name[256];
        double rate = 0;
        if (sscanf(line, "%15s %255s %lf", tag, name, &rate) == 3 &&
            strcmp(tag, CHILD_RESULT) == 0) {
            (*recorded)[name] = rate;
        }
    }
    pclose(child);
}

void print_ratio(const std::string& own, const std::string& reference, const char* label,
                 double target, const rates& recorded)
{
    auto own_rate = recorded.find(own);
    auto reference_rate = recorded.find(reference);
    if (own_rate == recorded.end() || reference_rate == recorded.end()) {
        return;
    }
    double ratio = own_rate->second / reference_rate->second;
    printf("%-24s %9.0f   %-30s %9.0f   %6.2f", own.c_str(), own_rate->second / 1e6, label,
           reference_rate->second / 1e6, ratio);
    if (target > 0) {
        printf("   (target >= %.2f: %s)", target, ratio >= target ? "met" : "MISSED");
    }
    printf("\n");
}

void print_signature_times(const rates& recorded)
{
    auto small = recorded.find(SIGNATURE_CHECK_SMALL);
    for (const auto& [name, rate] : recorded) {
        if (name.rfind(SIGNATURE_CHECK, 0) != 0 || small == recorded.end() ||
            name == SIGNATURE_CHECK_SMALL) {
            continue;
        }
        double time_ratio = small->second / rate;
        printf("\nfirmpack_check_signature (RSA-2048) of a %s firmpack: %.1f us; of a small one: "
               "%.1f us\ntime ratio %.3f (target <= %.2f: %s)\n",
               name.substr(name.rfind('/') + 1).c_str(), 1e6 / rate, 1e6 / small->second,
               time_ratio, SIGNATURE_SIZE_TARGET,
               time_ratio <= SIGNATURE_SIZE_TARGET ? "met" : "MISSED");
    }
}

void print_acceptance_times(const rates& recorded)
{
    auto with_keys = recorded.find(ACCEPTANCE_SIGNED);
    auto without = recorded.find(ACCEPTANCE_UNSIGNED);
    if (with_keys == recorded.end() || without == recorded.end()) {
        return;
    }
    const double time_ratio = without->second / with_keys->second;
    printf("\naccept_pair of a signed 128 MiB pair: %.0f MB/s on a board with its key file, "
           "%.0f MB/s on one without\ntime ratio %.3f (target <= %.2f: %s)\n",
           with_keys->second / 1e6, without->second / 1e6, time_ratio, ACCEPTANCE_TARGET,
           time_ratio <= ACCEPTANCE_TARGET ? "met" : "MISSED");
}

void print_ratios(const rates& recorded)
{
    printf("\nThroughput in MB/s (10^6 bytes per second); ratio = own / reference\n");
    printf("%-24s %9s   %-30s %9s   %6s\n", "own", "MB/s", "reference", "MB/s", "ratio");
    for (uint32_t size : {SMALL_INPUT, LARGE_INPUT}) {
        for (const comparison& c : COMPARISONS) {
            std::string suffix = "/" + size_name(size);
            print_ratio(c.own + suffix, c.reference + suffix, c.label, c.target, recorded);
        }
    }
    for (const hash_check_comparison& c : HASH_CHECKS) {
        for (const auto& [name, rate] : recorded) {
            if (name.rfind(c.check, 0) != 0) {
                continue;
            }
            std::string size = name.substr(name.rfind('/') + 1);
            auto digests = recorded.find(c.digests + size);
            if (digests == recorded.end()) {
                continue;
            }
            double time_ratio = digests->second / rate;
            printf("\nfirmpack_check_hashes over a %s firmpack with %s: %.0f MB/s; its digests "
                   "called directly: %.0f MB/s\ntime ratio %.3f (target <= %.2f: %s)\n",
                   size.c_str(), c.label, rate / 1e6, digests->second / 1e6, time_ratio,
                   CHECK_HASHES_TARGET, time_ratio <= CHECK_HASHES_TARGET ? "met" : "MISSED");
        }
    }
    print_signature_times(recorded);
    print_acceptance_times(recorded);
}

// In a child: only the two SHA-1s, their figures as RESULT lines.
int run_child(const char* variant, int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    register_sha1_pair(variant);
    rates recorded;
    recording_reporter reporter(&recorded, false);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    for (const auto& [name, rate] : recorded) {
        printf("%s %s %f\n", CHILD_RESULT, name.c_str(), rate);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (const char* variant = getenv(VARIANT_ENV)) {
        return run_child(variant, argc, argv);
    }
    std::string arguments;
    for (int i = 1; i < argc; ++i) {
        arguments += " '" + std::string(argv[i]) + "'";
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    rates recorded;
    for (const openssl_variant& variant : OPENSSL_VARIANTS) {
        measure_openssl_variant(variant, arguments, &recorded);
    }
    register_all_benchmarks();
    recording_reporter reporter(&recorded, true);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    print_ratios(recorded);
    benchmark::Shutdown();
    return 0;
}
