// The acceptance of a firmpack pair: the one read-only path that decides,
// before anything on the board is touched, whether a pair is refused, handed
// to the boot loader as legacy firmpacks, or installed, and finds the packages
// that an installation takes from it. The tool, firmpack-check and the fuzz
// target all take this path. Each step prints its own progress and failure on
// standard output, as the tool has always printed them.
// SPDX-License-Identifier: MIT
#pragma once

#include "firmpack/package.h"

#include <cstdint>

// The FDT package of a firmpack for the current partitioning: its description
// begins with this prefix, its data with this number in at most five bytes.
inline constexpr const char* PARTITION_ID_PREFIX = "partition ID";
inline constexpr int CURRENT_PARTITIONING = 2;
inline constexpr uint32_t PARTITION_ID_MAX_SIZE = 5;

// One firmpack as its source hands it over.
struct firmpack_input {
    const uint8_t* fit;
    // The bytes the source holds, or FIRMPACK_SIZE_AS_DECLARED (firmpack/extent.h)
    // when the source vouches for the total size in the firmpack's own header.
    uint32_t size;
    const char* display_name; // the path as typed, or the shared-memory name
};

// Why a pair is legacy.
enum legacy_reason : int {
    LEGACY_NONE,
    LEGACY_NO_FILESYSTEM,       // the board's configuration names no filesystem package
    LEGACY_NO_PARTITION_ID,     // the FDT package's description is no partition ID
    LEGACY_PARTITION_ID_LENGTH, // partition ID data of no bytes or more than five
    LEGACY_OTHER_PARTITIONING,  // a partition ID other than the current one
};

enum pair_verdict : int {
    PAIR_REFUSED,
    PAIR_LEGACY,   // not for the current partitioning: the boot loader installs it
    PAIR_ACCEPTED, // new-style firmpacks that belong together
};

// A pair for one board, and what the checks find in it. Every text and data
// range points into the firmpacks, which stay mapped for the whole run.
struct firmpack_pair {
    firmpack_input os;
    firmpack_input app;
    uint32_t board_id = 0;
    // The board's key file, or null: with a key file present, only a pair
    // whose board configurations it verifies is accepted (acceptance/signed.h).
    const char* key_file = nullptr;

    int config = -1;       // the board's configuration in the OS firmpack
    int fdt_image = -1;    // its FDT package, which carries the partition ID
    int partition_id = -1; // -1 until it is read
    legacy_reason legacy = LEGACY_NONE;

    // The packages of an accepted pair, with their descriptions.
    firmpack_package bootloader{};
    firmpack_package os_filesystem{};
    firmpack_package app_filesystem{};
};

// Both firmpacks whole and intact: the extent of each (OS, then APP), then
// the structure and every hash record of each (sha256 records too, when a key
// file is present). 0, or 22 after "file %s is corrupt, stopping upgrade"
// for the first firmpack that fails.
[[nodiscard]] int accept_firmpacks(const firmpack_pair* pair);

// An intact pair for its board: with a key file present, the signatures of
// both firmpacks' configurations; the board's configuration, the partition ID
// and the version pairing, then for an accepted pair its three packages and
// their descriptions. *result is 0 unless the pair is refused: 13, 22, 38, 9,
// or a package lookup's code.
[[nodiscard]] pair_verdict accept_board(firmpack_pair* pair, int* result);

// accept_firmpacks, then accept_board: from two firmpacks to the verdict.
[[nodiscard]] pair_verdict accept_pair(firmpack_pair* pair, int* result);
