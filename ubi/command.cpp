// SPDX-License-Identifier: MIT
#include "ubi/command.h"

#include "io/status.h"
#include "ubi/result.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace {

// Bytes written between two reports on the status stream; with nobody
// listening all of them go in one write.
constexpr uint32_t PROGRESS_CHUNK = 1U << 20;

// The bytes in buffered writes, pushed through to the pipe so that a refusal
// shows here and not later inside the close. 0 or the errno value.
int write_all(FILE* pipe, const uint8_t* data, uint32_t length)
{
    const uint32_t chunk = status_active() ? PROGRESS_CHUNK : length;
    errno = 0;
    for (uint32_t done = 0; done < length;) {
        const uint32_t part = std::min(length - done, chunk);
        if (fwrite(data + done, 1, part, pipe) != part || fflush(pipe) != 0) {
            return errno != 0 ? errno : EIO;
        }
        status_advance(part);
        done += part;
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
