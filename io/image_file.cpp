// SPDX-License-Identifier: MIT
#include "io/image_file.h"

#include "io/result.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Neither a FIFO without a writer nor a device may hold the tool up; the
// descriptor is not handed on to the utilities the tool starts.
constexpr int OPEN_FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// The mappings that are in use, so that a bus error inside one of them can be
// told by its file: two firmpacks, a key file and one version file at a time.
struct mapped_file {
    const uint8_t* start;
    std::size_t length;
    const char* path;
};
constexpr std::size_t MAPPED_FILES_MAX = 4;
std::array<mapped_file, MAPPED_FILES_MAX> mapped_files;

const char* const CHANGED_PREFIX = "ERROR: ";
const char* const CHANGED_SUFFIX = " changed or failed while it was read, stopping upgrade\n";

void write_text(const char* text)
{
    (void)!write(STDERR_FILENO, text, strlen(text));
}

const mapped_file* mapping_at(const void* address)
{
    auto byte = reinterpret_cast<uintptr_t>(address);
    for (const mapped_file& file : mapped_files) {
        auto start = reinterpret_cast<uintptr_t>(file.start);
        if (file.start != nullptr && byte >= start && byte - start < file.length) {
            return &file;
        }
    }
    return nullptr;
}

// A read of a mapped page that the file no longer holds raises SIGBUS. Only
// async-signal-safe calls here; a bus error anywhere else keeps its default.
void report_changed_file(int signal_number, siginfo_t* info, void*)
{
    const mapped_file* file = mapping_at(info->si_addr);
    if (file == nullptr) {
        ::signal(signal_number, SIG_DFL);
        return;
    }
    write_text(CHANGED_PREFIX);
    write_text(file->path);
    write_text(CHANGED_SUFFIX);
    _exit(IO_FILE_CHANGED);
}

void remember_mapping(const uint8_t* start, std::size_t length, const char* path)
{
    for (mapped_file& file : mapped_files) {
        if (file.start == nullptr) {
            file = {start, length, path};
            return;
        }
    }
}

int fail_at(int fd, map_step step, int result, map_step* failed_step)
{
    close(fd);
    *failed_step = step;
    return result;
}

} // namespace

int map_file(const char* path, const uint8_t** start, int32_t* size, map_step* failed_step)
{
    int fd = open(path, OPEN_FLAGS);
    if (fd < 0) {
        *failed_step = MAP_OPEN;
        return errno;
    }
    struct stat status;
    if (fstat(fd, &status) != 0) {
        return fail_at(fd, MAP_STAT, errno, failed_step);
    }
    if (status.st_size == 0) {
        return fail_at(fd, MAP_EMPTY, IO_EMPTY_FILE, failed_step);
    }
    // Only a regular file has a fixed content to map; a directory is refused
    // as mmap itself refuses it.
    if (!S_ISREG(status.st_mode)) {
        return fail_at(fd, MAP_NOT_A_FILE, IO_NOT_A_FILE, failed_step);
    }
    // Sizes travel as signed 32-bit numbers; a larger file cannot be a firmpack.
    if (status.st_size > INT32_MAX) {
        return fail_at(fd, MAP_TOO_LARGE, IO_FILE_TOO_LARGE, failed_step);
    }
    auto length = static_cast<std::size_t>(status.st_size);
    void* mapping = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED) {
        return fail_at(fd, MAP_MMAP, errno, failed_step);
    }
    *start = static_cast<const uint8_t*>(mapping);
    if (size != nullptr) {
        *size = static_cast<int32_t>(status.st_size);
    }
    remember_mapping(*start, length, path);
    close(fd);
    return 0;
}

int map_image_file(const char* path, const uint8_t** start, int32_t* size)
{
    map_step step = MAP_OPEN;
    const int result = map_file(path, start, size, &step);
    if (result == 0) {
        return 0;
    }
    switch (step) {
    case MAP_OPEN:
        fprintf(stderr, "Failed to open %s : %s\n", path, strerror(result));
        break;
    case MAP_STAT:
        fprintf(stderr, "Can't stat %s: %s\n", path, strerror(result));
        break;
    case MAP_EMPTY:
        fprintf(stderr, "Bad size: \"%s\" is not valid image\n", path);
        break;
    case MAP_NOT_A_FILE:
    case MAP_TOO_LARGE:
    case MAP_MMAP:
        fprintf(stderr, "Can't read %s: %s\n", path, strerror(result));
        break;
    }
    return result;
}

int unmap_image_file(const uint8_t* start, int32_t size)
{
    for (mapped_file& file : mapped_files) {
        if (file.start == start) {
            file = {};
        }
    }
    return munmap(const_cast<uint8_t*>(start), static_cast<std::size_t>(size));
}

void guard_mapped_files()
{
    struct sigaction action {};
    action.sa_sigaction = report_changed_file;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    (void)sigaction(SIGBUS, &action, nullptr);
}
