// Development stand-in for the board's platform library: each firmpack is a
// POSIX shared-memory object named after its file, so copying a firmpack into
// /dev/shm publishes it. A region is handed out whole, read-only, and never
// released; one that does not hold the whole firmpack its header describes is
// refused.
// SPDX-License-Identifier: MIT

#include "platform/mirel/mirel.h"

#include "firmpack/extent.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* SHM_NAMES[] = {"/fp_os.img", "/fp_app.img"};

int map_region(int fd, const void** start)
{
    struct stat status;
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    if (!S_ISREG(status.st_mode) || status.st_size <= 0 || status.st_size > INT32_MAX) {
        return EINVAL;
    }
    auto size = static_cast<std::size_t>(status.st_size);
    void* region = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    if (region == MAP_FAILED) {
        return errno;
    }
    if (firmpack_check_extent(static_cast<const uint8_t*>(region), static_cast<uint32_t>(size)) !=
        0) {
        munmap(region, size);
        return EINVAL;
    }
    *start = region;
    return 0;
}

} // namespace

extern "C" int mirel_sw_update_open_shm(int firmpack, void** start)
{
    if (firmpack != MIREL_FIRMPACK_OS && firmpack != MIREL_FIRMPACK_APP) {
        return EINVAL;
    }
    // A FIFO put in place of a firmpack must not hold the tool up.
    int fd = shm_open(SHM_NAMES[firmpack], O_RDONLY | O_NONBLOCK, 0);
    if (fd < 0) {
        return errno;
    }
    const void* region = nullptr;
    int result = map_region(fd, &region);
    close(fd);
    if (result == 0) {
        *start = const_cast<void*>(region);
    }
    return result;
}
