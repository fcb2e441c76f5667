// Result codes of firmpack access: 0 for success, never anything else. The
// accessors and the extent and structure checks answer -1 for what they did
// not find or refuse (their callers pass it on or turn it into a code of
// their own); the package lookups answer with Linux errno values, which the
// update passes up as its result. The hash and format checks answer true or
// false instead: they are verdicts, not results.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int FIRMPACK_OK = 0;
// -1 under two names: an accessor misses what it looks for, a check refuses
// a buffer; no operation can mean both.
inline constexpr int FIRMPACK_MISSING = -1; // no such node, property, algorithm or name
inline constexpr int FIRMPACK_DAMAGED = -1; // a buffer the extent or structure check refuses

inline constexpr int FIRMPACK_NO_SUBIMAGE = ENOENT;       // 2: no package of that name
inline constexpr int FIRMPACK_NOT_A_FIT = EFAULT;         // 14: no usable FIT, no description
inline constexpr int FIRMPACK_BOARD_NOT_DEFINED = EINVAL; // 22: no configuration or filesystem
