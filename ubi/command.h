// The command runner: every external utility of the filesystem installation
// runs through here, one at a time, and is waited for.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Flushes stdout, starts command through the shell with popen, writes length
// bytes of data to its standard input in one write (nothing when data is null
// or length 0) and waits for it with pclose. 0 when the command exits 0; 9
// when it cannot be started; the errno value of the write (EIO when it set
// none) when not all the data went in; otherwise the wait status from pclose
// unchanged (exit status 1 gives 256), or -1 when pclose fails.
//
// The process ignores SIGPIPE (main sets that once for the whole process,
// and the commands inherit it), so a command that stops reading makes the
// write fail with EPIPE (32), which is returned. Nothing here touches the
// signal: where SIGPIPE is not ignored, a broken pipe ends the process.
[[nodiscard]] int pipe_to_command(const char* command, const uint8_t* data, uint32_t length);
