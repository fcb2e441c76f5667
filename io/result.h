// Result codes of the process's input readers: the Linux errno values that
// each outcome of their own is reported with. A failing call's errno value
// passes up unchanged.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int IO_CMDLINE_EMPTY = 1;      // /proc/cmdline read, but empty
inline constexpr int IO_FILE_CHANGED = EIO;     // 5: exit status when a mapped file shrank
inline constexpr int IO_NOT_A_FILE = ENODEV;    // 19: neither a regular file nor a FIFO or device
inline constexpr int IO_EMPTY_FILE = EINVAL;    // 22: nothing to map: empty, a FIFO or a device
inline constexpr int IO_FILE_TOO_LARGE = EFBIG; // 27: larger than a signed 32-bit size
