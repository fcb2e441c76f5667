// Result codes of the update driver: the Linux errno values that each outcome
// is reported with, named for the outcome. run_update passes every other
// subsystem's code up unchanged.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int RESULT_OUT_OF_MEMORY = ENOMEM;   // 12
inline constexpr int RESULT_INVALID = EINVAL;         // 22: wrong use, corrupt or foreign firmpack
inline constexpr int RESULT_NO_PARTITION_ID = ENOSYS; // 38: partition-ID package incomplete
inline constexpr int RESULT_VERSION_MISMATCH = EBADF; // 9: the pair does not belong together
inline constexpr int RESULT_BAD_BASELINE = EBADF;     // 9: no valid running baseline
inline constexpr int RESULT_FILE_CHANGED = EIO;       // 5: a mapped file shrank while read
inline constexpr int RESULT_NOTHING_TO_UPDATE = -1;   // exit status 255
inline constexpr int RESULT_CMDLINE_EMPTY = 1;        // /proc/cmdline read, but empty
