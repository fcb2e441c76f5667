// The command runner: every external utility of the filesystem installation
// runs through here, one at a time, and is waited for.
#pragma once

#include <cstdint>

// Runs command through the shell with popen and writes length bytes of data
// to its standard input in one write (nothing when data is null or length 0).
// 0 when the command exits 0; 9 when it cannot be started; the system error
// number when the data could not all be written (a command that stops reading
// gives EPIPE: broken-pipe signals are ignored); otherwise the wait status
// from pclose unchanged (exit status 1 gives 256), or -1.
[[nodiscard]] int pipe_to_command(const char* command, const uint8_t* data, uint32_t length);
