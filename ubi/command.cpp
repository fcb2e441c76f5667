// SPDX-License-Identifier: MIT
#include "ubi/command.h"

#include "ubi/result.h"

#include <cerrno>
#include <cstdio>

namespace {

// One buffered write of all the bytes, pushed through to the pipe so that a
// refusal shows here and not later inside the close. 0 or the errno value.
int write_all(FILE* pipe, const uint8_t* data, uint32_t length)
{
    errno = 0;
    if (fwrite(data, 1, length, pipe) != length || fflush(pipe) != 0) {
        return errno != 0 ? errno : EIO;
    }
    return 0;
}

} // namespace

int pipe_to_command(const char* command, const uint8_t* data, uint32_t length)
{
    // The command's output goes to our stdout too: keep our lines in front of its.
    fflush(stdout);
    FILE* pipe = popen(command, "w");
    if (pipe == nullptr) {
        return UBI_NOT_STARTED;
    }
    int write_error = 0;
    if (data != nullptr && length != 0) {
        write_error = write_all(pipe, data, length);
    }
    int status = pclose(pipe);
    return write_error != 0 ? write_error : status;
}
