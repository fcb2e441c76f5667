// Result codes of the dataflash subsystem: the Linux errno values that each
// outcome is reported with, named for the outcome. The device's own error
// numbers pass up unchanged from dataflash_read and dataflash_write.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int RESULT_TRANSFER_FAILED = -1;                // after the transfer said so
inline constexpr int RESULT_NOT_STORED = EPERM;                  // 1: persistence before a store
inline constexpr int RESULT_ADMIN_UNREACHABLE = ENXIO;           // 6: Linux administration
inline constexpr int RESULT_READ_BACK_DIFFERS = ENODEV;          // 19: image's CRC-32 on read-back
inline constexpr int RESULT_PAGE32_NOT_ERASED = ENODEV;          // 19: page 32 not overwritten
inline constexpr int RESULT_BAD_REQUEST = EINVAL;                // 22: type, baselines, not loaded
inline constexpr int RESULT_NOT_ERASED = EINVAL;                 // 22: legacy erase reads back
inline constexpr int RESULT_PACKAGE_TOO_LARGE = EFBIG;           // 27: larger than an image area
inline constexpr int RESULT_ADMIN_CORRUPT = ESPIPE;              // 29: running Linux record
inline constexpr int RESULT_DEVICE_PATH_TOO_LONG = ENAMETOOLONG; // 36: device path does not fit
