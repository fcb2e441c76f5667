// Result codes of the filesystem installation: the Linux errno values that
// each of its own outcomes is reported with, named for the outcome. A
// utility's wait status and a failing call's errno value pass up unchanged.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int RESULT_NOT_STARTED = EBADF;          // 9: a command could not start
inline constexpr int RESULT_NO_PACKAGE = ENODEV;          // 19: no such package in the firmpack
inline constexpr int RESULT_BAD_PACKAGE = EINVAL;         // 22: a package the install cannot use
inline constexpr int RESULT_NO_PARTITION = EINVAL;        // 22: no MTD partition of that name
inline constexpr int RESULT_VOLUME_DIFFERS = EINVAL;      // 22: new volume, other version
inline constexpr int RESULT_TEXT_CUT = EFBIG;             // 27: version file too long to compose
inline constexpr int RESULT_NAME_TOO_LONG = ENAMETOOLONG; // 36: name too long for its text
inline constexpr int RESULT_NAME_UNCLOSED = -1;           // a sysfs name file did not close
