// firmpack-check: what the tool on the board would decide about a firmpack
// pair, checked on the host before the pair is shipped.
// SPDX-License-Identifier: MIT

#include "check/check.h"
#include "check/report.h"
#include "io/image_file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int EXIT_USAGE = 64;

constexpr const char* USAGE =
    "Usage: firmpack-check [--board 0xNNN] [--installed FILE] [--keys FILE] [--json]\n"
    "                      <fp_os.img> <fp_app.img>\n"
    "       firmpack-check --version\n"
    "Checks a firmpack pair as the update tool on the board would, and names each\n"
    "rule it breaks with the fix: errors where the board refuses it or its update\n"
    "fails, warnings where it only misbehaves. Exit status: 0 installable,\n"
    "1 refused, 2 legacy (left to the boot loader), 3 installable with warnings,\n"
    "64 wrong use. With --keys, the pair is checked as a board with that key file\n"
    "checks it: only what its keys signed is installed.\n";

struct options {
    std::vector<uint32_t> boards;
    const char* installed_file = nullptr;
    const char* key_file = nullptr;
    bool json = false;
    const char* os_path = nullptr;
    const char* app_path = nullptr;
};

int usage_error(const char* problem)
{
    fprintf(stderr, "firmpack-check: %s\n%s", problem, USAGE);
    return EXIT_USAGE;
}

bool parse_board(const char* text, uint32_t* board)
{
    char* end = nullptr;
    const unsigned long value = strtoul(text, &end, 0);
    *board = static_cast<uint32_t>(value);
    return end != text && *end == '\0' && value <= UINT32_MAX;
}

// 0, or the exit status for wrong use.
int parse_options(int argc, char** argv, options* chosen)
{
    std::vector<const char*> files;
    for (int i = 1; i < argc; ++i) {
        const bool has_value = i + 1 < argc;
        if (strcmp(argv[i], "--json") == 0) {
            chosen->json = true;
        } else if (strcmp(argv[i], "--board") == 0 && has_value) {
            uint32_t board = 0;
            if (!parse_board(argv[++i], &board)) {
                return usage_error("--board takes a board id such as 0x105");
            }
            chosen->boards.push_back(board);
        } else if (strcmp(argv[i], "--installed") == 0 && has_value) {
            chosen->installed_file = argv[++i];
        } else if (strcmp(argv[i], "--keys") == 0 && has_value) {
            chosen->key_file = argv[++i];
        } else if (strcmp(argv[i], "--version") == 0) {
            printf("firmpack-check %s\n", FPU_VERSION);
            exit(0);
        } else if (strcmp(argv[i], "--help") == 0) {
            fputs(USAGE, stdout);
            exit(0);
        } else if (argv[i][0] == '-' && argv[i][1] != '\0') {
            return usage_error("unknown option or option without its value");
        } else {
            files.push_back(argv[i]);
        }
    }
    if (files.size() != 2) {
        return usage_error("two firmpacks, the OS one first");
    }
    chosen->os_path = files[0];
    chosen->app_path = files[1];
    return 0;
}

// The installed state from lines "bootloader=...", "rootfs=...", "apps=...".
bool read_installed(const char* path, installed_state* installed)
{
    std::ifstream file(path);
    if (!file) {
        fprintf(stderr, "firmpack-check: %s: cannot be read\n", path);
        return false;
    }
    installed->known = true;
    std::string line;
    while (std::getline(file, line)) {
        const std::size_t equals = line.find('=');
        const std::string key = line.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
        std::string* field = key == "bootloader" ? &installed->bootloader
                             : key == "rootfs"   ? &installed->rootfs
                             : key == "apps"     ? &installed->apps
                                                 : nullptr;
        if (field == nullptr || equals == std::string::npos) {
            fprintf(stderr, "firmpack-check: %s: not a line bootloader=, rootfs= or apps=: %s\n",
                    path, line.c_str());
            return false;
        }
        *field = value;
    }
    return true;
}

// A firmpack mapped, or false after one line on standard error.
bool map_firmpack(const char* path, firmpack_input* firmpack)
{
    int32_t size = 0;
    if (map_image_file(path, &firmpack->fit, &size) != 0) {
        return false;
    }
    *firmpack = {firmpack->fit, static_cast<uint32_t>(size), path};
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    options chosen;
    int status = parse_options(argc, argv, &chosen);
    if (status != 0) {
        return status;
    }
    installed_state installed{};
    if (chosen.installed_file != nullptr && !read_installed(chosen.installed_file, &installed)) {
        return EXIT_USAGE;
    }
    guard_mapped_files();
    pair_check check{};
    check.pair.key_file = chosen.key_file;
    if (!map_firmpack(chosen.os_path, &check.pair.os) ||
        !map_firmpack(chosen.app_path, &check.pair.app)) {
        return CHECK_REFUSED;
    }
    // With --json, standard output carries the document alone; the tool's
    // own lines go to standard error.
    fflush(stdout);
    const int saved_out = chosen.json ? dup(STDOUT_FILENO) : -1;
    if (chosen.json) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    check_pair(&check, chosen.boards, installed);
    const check_verdict verdict = pair_verdict_of(check);
    fflush(stdout);
    if (chosen.json) {
        dup2(saved_out, STDOUT_FILENO);
        print_check_json(stdout, check, verdict);
    } else {
        print_check_text(stdout, check, verdict);
    }
    return verdict;
}
