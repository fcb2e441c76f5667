// Result codes of firmpack access, named for the outcome: the accessors' found
// or missing, the checks' verdicts, and the errno values of the package lookups.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int FIRMPACK_OK = 0;
inline constexpr int FIRMPACK_MISSING = -1;           // no such node or property
inline constexpr int FIRMPACK_DAMAGED = -1;           // a buffer the structure checks refuse
inline constexpr int FIRMPACK_UNKNOWN_ALGORITHM = -1; // a hash algorithm not computed here
inline constexpr int FIRMPACK_CHECK_PASSED = 1;       // the format or hash check passed
inline constexpr int FIRMPACK_CHECK_FAILED = 0;

inline constexpr int RESULT_BOARD_NOT_DEFINED = EINVAL; // 22: no configuration or filesystem
inline constexpr int RESULT_NOT_A_FIT = EFAULT;         // 14: no usable FIT, no description
inline constexpr int RESULT_NO_SUBIMAGE = ENOENT;       // 2: no package of that name
