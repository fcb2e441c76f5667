// Firmpack pair acceptance: the checks that decide, before anything on the
// board is touched, whether a pair is refused, handed to the boot loader as
// legacy firmpacks, or installed; and the packages that an installation takes
// from it. Each check prints its own progress and failure on standard output.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The FDT package of a firmpack for the current partitioning: its description
// begins with this prefix, its data with this number in at most five bytes.
inline constexpr const char* PARTITION_ID_PREFIX = "partition ID";
inline constexpr int CURRENT_PARTITIONING = 2;
inline constexpr uint32_t PARTITION_ID_MAX_SIZE = 5;

// Why a pair is legacy.
enum legacy_reason : int {
    LEGACY_NONE,
    LEGACY_NO_FILESYSTEM,       // the board's configuration names no filesystem package
    LEGACY_NO_PARTITION_ID,     // the FDT package's description is no partition ID
    LEGACY_PARTITION_ID_LENGTH, // partition ID data of no bytes or more than five
    LEGACY_OTHER_PARTITIONING,  // a partition ID other than the current one
};

// A pair as the checks find it. Every text points into the firmpacks, which
// stay mapped for the whole run.
struct firmpack_pair {
    const uint8_t* os_fit;
    const uint8_t* app_fit;
    const char* os_display_name;
    const char* app_display_name;
    uint32_t board_id;

    int config;           // the board's configuration in the OS firmpack
    int fdt_image;        // its FDT package, which carries the partition ID
    int partition_id;     // -1 until it is read
    legacy_reason legacy; // LEGACY_NONE unless the verdict is legacy

    const char* bootloader_name;
    const char* os_filesystem_name;
    const char* app_filesystem_name;
    const char* bootloader_description;
    const char* os_filesystem_description;
    const char* app_filesystem_description;
};

enum pair_verdict : int {
    PAIR_REFUSED,
    PAIR_LEGACY,   // not for the current partitioning: the boot loader installs it
    PAIR_ACCEPTED, // new-style firmpacks that belong together
};

// 0 when both firmpacks are well-formed trees whose every image matches its
// hash records; otherwise 22 after "file %s is corrupt, stopping upgrade".
[[nodiscard]] int check_pair_integrity(const firmpack_pair* pair);

// The board's configuration, the partition ID and the version pairing of an
// intact pair. *result is 0 unless the pair is refused: 22, 38 or 9.
[[nodiscard]] pair_verdict check_pair_acceptance(firmpack_pair* pair, int* result);

// The names of the bootloader and both filesystem packages of an accepted
// pair. 0, or 22 when the configuration does not name them.
[[nodiscard]] int find_pair_packages(firmpack_pair* pair);

// The descriptions of the three packages. 0, or lookup_package's 14 or 2.
[[nodiscard]] int find_pair_descriptions(firmpack_pair* pair);
