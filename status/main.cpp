// firmpack-status: what the board holds and what the boot loader starts
// next, read without changing anything.
// SPDX-License-Identifier: MIT

#include "dataflash/device.h"
#include "io/image_file.h"
#include "status/report.h"
#include "status/status.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

constexpr int EXIT_ALL_READ = 0;
constexpr int EXIT_PROBLEMS = 1;
constexpr int EXIT_INSTALLED_FILE = 2;
constexpr int EXIT_USAGE = 64;

constexpr const char* USAGE =
    "Usage: firmpack-status [--json] [--installed-file FILE]\n"
    "       firmpack-status --version\n"
    "Shows what the board holds and what the boot loader starts next, without\n"
    "changing anything. Exit status: 0 all read, 1 something could not be read,\n"
    "is missing or is damaged (the rest is shown), 2 the installed file could not\n"
    "be written, 64 wrong use.\n";

struct options {
    bool json = false;
    const char* installed_file = nullptr;
};

int usage_error(const char* problem)
{
    fprintf(stderr, "firmpack-status: %s\n%s", problem, USAGE);
    return EXIT_USAGE;
}

// 0, or the exit status for wrong use.
int parse_options(int argc, char** argv, options* chosen)
{
    for (int i = 1; i < argc; ++i) {
        if (strcmp(argv[i], "--json") == 0) {
            chosen->json = true;
        } else if (strcmp(argv[i], "--installed-file") == 0 && i + 1 < argc) {
            chosen->installed_file = argv[++i];
        } else if (strcmp(argv[i], "--version") == 0) {
            printf("firmpack-status %s\n", FPU_VERSION);
            exit(0);
        } else if (strcmp(argv[i], "--help") == 0) {
            fputs(USAGE, stdout);
            exit(0);
        } else {
            return usage_error("unknown option, option without its value, or an argument");
        }
    }
    return 0;
}

// Reads the board with the lower layers' own failure lines on standard
// error, so that standard output carries the report alone.
void read_quietly(board_status* status)
{
    fflush(stdout);
    const int saved_out = dup(STDOUT_FILENO);
    if (saved_out >= 0) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    read_board_status(status);
    fflush(stdout);
    if (saved_out >= 0) {
        dup2(saved_out, STDOUT_FILENO);
        close(saved_out);
    }
}

// 0, or EXIT_INSTALLED_FILE after one line on standard error.
int write_installed_file(const char* path, const board_status& status)
{
    std::string text;
    std::string reason;
    if (installed_file_text(status, &text, &reason) != 0) {
        fprintf(stderr, "firmpack-status: %s not written: %s\n", path, reason.c_str());
        return EXIT_INSTALLED_FILE;
    }
    FILE* file = fopen(path, "w");
    if (file == nullptr) {
        fprintf(stderr, "firmpack-status: %s: %s\n", path, strerror(errno));
        return EXIT_INSTALLED_FILE;
    }
    const bool written = fwrite(text.data(), 1, text.size(), file) == text.size();
    if (fclose(file) != 0 || !written) {
        fprintf(stderr, "firmpack-status: %s: %s\n", path, strerror(errno));
        return EXIT_INSTALLED_FILE;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    options chosen;
    int status = parse_options(argc, argv, &chosen);
    if (status != 0) {
        return status;
    }
    // A version file that shrinks while it is read ends the run with one line.
    guard_mapped_files();
    dataflash_choose_read_only();

    board_status board{};
    read_quietly(&board);
    const std::vector<status_line> lines = status_lines(board);
    if (chosen.json) {
        print_status_json(stdout, board, lines);
    } else {
        print_status_text(stdout, lines);
    }
    status = EXIT_ALL_READ;
    for (const status_line& line : lines) {
        status = line.problem ? EXIT_PROBLEMS : status;
    }
    if (chosen.installed_file != nullptr) {
        const int written = write_installed_file(chosen.installed_file, board);
        status = written != 0 ? written : status;
    }
    return status;
}
