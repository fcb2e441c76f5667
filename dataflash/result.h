// Result codes of the dataflash subsystem: the Linux errno values that each
// of its outcomes is reported with. The device's own error numbers pass up
// unchanged from dataflash_read and dataflash_write.
// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

inline constexpr int DATAFLASH_TRANSFER_FAILED = -1;      // after the transfer said so
inline constexpr int DATAFLASH_NOT_STORED = EPERM;        // 1: persistence before a store
inline constexpr int DATAFLASH_ADMIN_UNREACHABLE = ENXIO; // 6: Linux administration
// 19: what the boot loader depends on did not reach the dataflash as written:
// a bootloader image that reads back different, or the page-32 administration
// that could not be overwritten before the new record.
inline constexpr int DATAFLASH_NOT_WRITTEN = ENODEV;
// 22: a request refused before anything is done: a package type other than
// the bootloader, baselines other than 1 and 2, an administration not loaded.
inline constexpr int DATAFLASH_REFUSED = EINVAL;
// 22 as well, as the boot loader's side expects, but after writing: the
// legacy erase read back something other than erased bytes.
inline constexpr int DATAFLASH_NOT_ERASED = EINVAL;
inline constexpr int DATAFLASH_PACKAGE_TOO_LARGE = EFBIG;           // 27: larger than an image area
inline constexpr int DATAFLASH_ADMIN_CORRUPT = ESPIPE;              // 29: running Linux record
inline constexpr int DATAFLASH_DEVICE_PATH_TOO_LONG = ENAMETOOLONG; // 36: device path does not fit
