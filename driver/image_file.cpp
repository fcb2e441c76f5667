#include "driver/image_file.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int close_with(int fd, int result)
{
    close(fd);
    return result;
}

} // namespace

int map_image_file(const char* path, const uint8_t** start, int32_t* size)
{
    int fd = open(path, O_RDONLY);
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
    close(fd);
    return 0;
}
