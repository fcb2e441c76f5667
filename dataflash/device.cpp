// SPDX-License-Identifier: MIT
#include "dataflash/device.h"

#include "dataflash/result.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mtd/mtd-user.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

// Device node numbers are tried upwards from here; mtd0 is never the dataflash.
constexpr int FIRST_DEVICE_NUMBER = 1;
constexpr char DEVICE_PATH_PREFIX[] = "/dev/mtd";
// The longest path: the prefix with the lowest int (a sign and ten digits).
constexpr std::size_t DEVICE_PATH_SIZE = sizeof "/dev/mtd-2147483648";
static_assert(DEVICE_PATH_SIZE == sizeof DEVICE_PATH_PREFIX + 11 && INT_MIN == -2147483647 - 1);

// Writes must reach the flash before write() returns.
constexpr int PROBE_FLAGS = O_RDONLY | O_DSYNC;
constexpr int ACCESS_FLAGS = O_RDWR | O_DSYNC;
static_assert(PROBE_FLAGS == 0x1000 && ACCESS_FLAGS == 0x1002);

constexpr unsigned char DATAFLASH_TYPE = MTD_DATAFLASH;
constexpr uint32_t WRITABLE_FLAG = MTD_WRITEABLE;
static_assert(DATAFLASH_TYPE == 6 && WRITABLE_FLAG == 0x400);

// Found once per process and kept open until the process ends.
int dataflash_fd = -1;
// Chosen by a program that only reads, before its first transfer.
bool read_only = false;

enum probe_outcome { PROBE_FOUND, PROBE_SKIPPED, PROBE_FAILED };

// Opens the candidate device node read-only and decides whether it is the
// writable dataflash; a found device is reopened read-write into *fd. With
// read-only access any dataflash is taken, with the probe's descriptor.
probe_outcome probe_device(const char* path, int* fd, int* error)
{
    int probe_fd = open(path, PROBE_FLAGS);
    if (probe_fd < 0) {
        *error = errno;
        fprintf(stderr, "Could not open mtd device: %s -> %s\n", path, strerror(*error));
        return PROBE_FAILED;
    }
    mtd_info_user info;
    if (ioctl(probe_fd, MEMGETINFO, &info) != 0) {
        *error = errno;
        fprintf(stderr, "Could not get MTD device info from %s -> %s\n", path, strerror(*error));
        close(probe_fd);
        return PROBE_FAILED;
    }
    if (read_only && info.type == DATAFLASH_TYPE) {
        *fd = probe_fd;
        return PROBE_FOUND;
    }
    close(probe_fd);
    if (info.type != DATAFLASH_TYPE) {
        return PROBE_SKIPPED;
    }
    if ((info.flags & WRITABLE_FLAG) == 0) {
        fprintf(stderr, "Dataflash device (%s) is not writable\n", path);
        return PROBE_SKIPPED;
    }
    *fd = open(path, ACCESS_FLAGS);
    if (*fd < 0) {
        *error = errno;
        fprintf(stderr, "Could not open mtd device in RW mode: %s -> %s\n", path, strerror(*error));
        return PROBE_FAILED;
    }
    return PROBE_FOUND;
}

// The device node's path; a path that would not fit is refused, never cut.
bool format_device_path(int number, char (&path)[DEVICE_PATH_SIZE])
{
    // An output error (a negative length) converts to a size that is refused too.
    int length = snprintf(path, sizeof path, "%s%i", DEVICE_PATH_PREFIX, number);
    if (static_cast<std::size_t>(length) < sizeof path) {
        return true;
    }
    fprintf(stderr, "Could not open mtd device: %s%i -> %s\n", DEVICE_PATH_PREFIX, number,
            strerror(DATAFLASH_DEVICE_PATH_TOO_LONG));
    return false;
}

// 0 with the dataflash descriptor, or the system error number of the failing call.
int dataflash_open(int* descriptor)
{
    // The search ends at the first device node that cannot be opened, so a
    // board without a dataflash stops at the first missing node.
    for (int number = FIRST_DEVICE_NUMBER; dataflash_fd < 0; ++number) {
        char path[DEVICE_PATH_SIZE];
        if (!format_device_path(number, path)) {
            return DATAFLASH_DEVICE_PATH_TOO_LONG;
        }
        int error = 0;
        int fd = -1;
        switch (probe_device(path, &fd, &error)) {
        case PROBE_FOUND:
            dataflash_fd = fd;
            break;
        case PROBE_SKIPPED:
            break;
        case PROBE_FAILED:
            return error;
        }
    }
    *descriptor = dataflash_fd;
    return 0;
}

} // namespace

void dataflash_choose_read_only()
{
    read_only = true;
}

int dataflash_read(uint32_t offset, uint32_t length, uint8_t* buffer)
{
    int fd = -1;
    int result = dataflash_open(&fd);
    if (result != 0) {
        return result;
    }
    if (lseek(fd, offset, SEEK_SET) < 0) {
        return errno;
    }
    // A short read is not detected: the device decides how much it delivers.
    if (read(fd, buffer, length) < 0) {
        return errno;
    }
    return 0;
}

int dataflash_write(uint32_t offset, const uint8_t* buffer, uint32_t length)
{
    int fd = -1;
    int result = dataflash_open(&fd);
    if (result != 0) {
        return result;
    }
    if (lseek(fd, offset, SEEK_SET) < 0) {
        int error = errno;
        fprintf(stderr, "lseek failed: 0x%x\n", offset);
        return error;
    }
    if (write(fd, buffer, length) < 0) {
        int error = errno;
        fprintf(stderr, "write failed: 0x%x (%i)\n", offset, length);
        return error;
    }
    return 0;
}
