// Result codes of the update sequence: the Linux errno values that each of
// its own outcomes is reported with. run_update passes every other
// subsystem's code up unchanged.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int UPDATE_NOTHING_TO_DO = -1;          // exit status 255
inline constexpr int UPDATE_BAD_BASELINE = EBADF;        // 9: no valid running baseline
inline constexpr int UPDATE_OUT_OF_MEMORY = ENOMEM;      // 12
inline constexpr int UPDATE_WRONG_USE = EINVAL;          // 22: the usage text
inline constexpr int UPDATE_NO_BOOTLOADER_DATA = ENOSYS; // 38: bootloader package without data
