// SPDX-License-Identifier: MIT
#include "driver/image_file.h"

#include "driver/result.h"

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
// told by its file. Two firmpacks and one version file at a time.
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
    _exit(RESULT_FILE_CHANGED);
}

void remember_mapping(const uint8_t* start, std::size_t length, const char* path)
{
    static bool handler_installed = false;
    if (!handler_installed) {
        struct sigaction action {};
        action.sa_sigaction = report_changed_file;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        handler_installed = sigaction(SIGBUS, &action, nullptr) == 0;
    }
    for (mapped_file& file : mapped_files) {
        if (file.start == nullptr) {
            file = {start, length, path};
            return;
        }
    }
}

int close_with(int fd, int result)
{
    close(fd);
    return result;
}

} // namespace

int map_image_file(const char* path, const uint8_t** start, int32_t* size)
{
    int fd = open(path, OPEN_FLAGS);
    if (fd < 0) {
        int error = errno;
        fprintf(stderr, "Failed to open %s : %s\n", path, strerror(error));
        return error;
    }
    struct stat status;
    if (fstat(fd, &status) != 0) {
        int error = errno;
        fprintf(stderr, "Can't stat %s: %s\n", path, strerror(error));
        return close_with(fd, error);
    }
    if (status.st_size == 0) {
        fprintf(stderr, "Bad size: \"%s\" is not valid image\n", path);
        return close_with(fd, EINVAL);
    }
    // Only a regular file has a fixed content to map; a directory is refused
    // as mmap itself refuses it.
    if (!S_ISREG(status.st_mode)) {
        fprintf(stderr, "Can't read %s: %s\n", path, strerror(ENODEV));
        return close_with(fd, ENODEV);
    }
    // Sizes travel as signed 32-bit numbers; a larger file cannot be a firmpack.
    if (status.st_size > INT32_MAX) {
        fprintf(stderr, "Can't read %s: %s\n", path, strerror(EFBIG));
        return close_with(fd, EFBIG);
    }
    auto length = static_cast<std::size_t>(status.st_size);
    void* mapping = mmap(nullptr, length, PROT_READ, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED) {
        int error = errno;
        fprintf(stderr, "Can't read %s: %s\n", path, strerror(error));
        return close_with(fd, error);
    }
    *start = static_cast<const uint8_t*>(mapping);
    if (size != nullptr) {
        *size = static_cast<int32_t>(status.st_size);
    }
    remember_mapping(*start, length, path);
    close(fd);
    return 0;
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
