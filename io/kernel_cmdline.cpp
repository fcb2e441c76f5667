// SPDX-License-Identifier: MIT
#include "io/cmdline.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr const char* CMDLINE_PATH = "/proc/cmdline";

} // namespace

int read_kernel_cmdline(char* buffer, std::size_t size)
{
    FILE* stream = fopen(CMDLINE_PATH, "r");
    if (stream == nullptr) {
        int error = errno;
        fprintf(stderr, "Failed to open %s : %s\n", CMDLINE_PATH, strerror(error));
        return error;
    }
    // Lines longer than the buffer are kept to its size; the kernel's own
    // limit keeps real command lines well below the cache's.
    std::size_t length = 0;
    int c;
    while (length < size - 1 && (c = fgetc(stream)) != EOF) {
        buffer[length++] = static_cast<char>(c);
    }
    buffer[length] = '\0';
    fclose(stream);
    return 0;
}
