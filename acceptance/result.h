// Result codes of the acceptance of a firmpack pair: the Linux errno values
// that each refusal is reported with. The package lookups' own codes pass up
// unchanged.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int ACCEPT_VERSION_MISMATCH = EBADF; // 9: the pair does not belong together
inline constexpr int ACCEPT_NOT_SIGNED = EACCES;      // 13: not signed by a key of the board
inline constexpr int ACCEPT_INVALID = EINVAL;         // 22: corrupt or foreign firmpack
inline constexpr int ACCEPT_NO_PARTITION_ID = ENOSYS; // 38: partition-ID package incomplete
