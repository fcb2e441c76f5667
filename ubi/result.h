// Result codes of the filesystem installation: the Linux errno values that
// each of its own outcomes is reported with. A utility's wait status and a
// failing call's errno value pass up unchanged.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int UBI_NOT_STARTED = EBADF; // 9: a command could not start
inline constexpr int UBI_NO_PACKAGE = ENODEV; // 19: no such package in the firmpack
// 22: what the installation was given cannot be used: a package without data,
// description or a usable compression, a partition name no MTD device has, a
// written volume that holds another version.
inline constexpr int UBI_INVALID = EINVAL;
inline constexpr int UBI_TEXT_CUT = EFBIG;             // 27: version file too long to compose
inline constexpr int UBI_NAME_TOO_LONG = ENAMETOOLONG; // 36: a name too long for its text
inline constexpr int UBI_NAME_UNCLOSED = -1;           // a sysfs name file did not close
