// MTD partition lookup and UBI volume preparation.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

// A partition on MTD device M is attached as UBI device M + UBI_DEVICE_OFFSET;
// its one volume is volume 0 of that device.
inline constexpr int UBI_DEVICE_OFFSET = 10;

// The longest partition name: the volume is named after its partition, and a
// UBI volume name holds at most 127 bytes.
inline constexpr std::size_t PARTITION_NAME_MAX = 127;

// 0 with the number of the lowest MTD device whose sysfs name contains
// partition_name; 22 when the scan reaches a missing device first; -1 when a
// name file could not be closed.
[[nodiscard]] int find_mtd_partition(const char* partition_name, int* mtd_number);

// The same scan over the device folders "mtd<N>" under class_dir instead of
// the kernel's MTD class folder; 36 when a name file's path would be longer
// than the longest path the kernel takes.
[[nodiscard]] int find_mtd_partition_in(const char* class_dir, const char* partition_name,
                                        int* mtd_number);

// Detaches, erases and reattaches MTD device mtd_number as UBI device
// mtd_number + 10 and creates one volume named partition_name filling it.
// 0, or the non-zero result of the first utility that failed; 36, before any
// utility runs, when partition_name is too long for its command line (up to
// PARTITION_NAME_MAX bytes always fit).
[[nodiscard]] int prepare_ubi_volume(int mtd_number, const char* partition_name);
