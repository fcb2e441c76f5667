// Development stand-in for the board's platform library: each firmpack is a
// POSIX shared-memory object named after its file, so copying a firmpack into
// /dev/shm publishes it. A region is handed out whole, read-only, and never
// released; one shorter than its own device-tree header's total size is refused.

#include "platform/mirel/mirel.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* SHM_NAMES[] = {"/fp_os.img", "/fp_app.img"};

constexpr uint32_t FDT_MAGIC_VALUE = 0xd00dfeed;
constexpr std::size_t FDT_TOTALSIZE_END = 8; // magic, then the total size

uint32_t get_be32(const uint8_t* bytes)
{
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
           uint32_t{bytes[3]};
}

// A region that claims to be a device tree must hold all of it.
bool region_is_complete(const uint8_t* region, std::size_t size)
{
    if (size < 4 || get_be32(region) != FDT_MAGIC_VALUE) {
        return true;
    }
    return size >= FDT_TOTALSIZE_END && get_be32(region + 4) <= size;
}

int map_region(int fd, const void** start)
{
    struct stat status;
    if (fstat(fd, &status) != 0) {
        return errno;
    }
    if (status.st_size <= 0 || status.st_size > INT32_MAX) {
        return EINVAL;
    }
    auto size = static_cast<std::size_t>(status.st_size);
    void* region = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    if (region == MAP_FAILED) {
        return errno;
    }
    if (!region_is_complete(static_cast<const uint8_t*>(region), size)) {
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
    int fd = shm_open(SHM_NAMES[firmpack], O_RDONLY, 0);
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
