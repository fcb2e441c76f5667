// What firmpack-status reads of the board, without changing anything: the
// kernel command line, the installed version files, both update
// administrations of the dataflash, and from them what the boot loader starts
// next. Each part records whether it could be read; nothing here prints
// except the lower layers' own failure lines.
// SPDX-License-Identifier: MIT
#pragma once

#include "dataflash/layout.h"
#include "io/image_file.h"

#include <array>
#include <cstdint>
#include <string>

// The kernel command line as the update reads it.
struct kernel_status {
    int result; // of get_cmdline_param: 0 when /proc/cmdline was read
    // The values of brd_id_io, brd_id_core and baseline, without the line's
    // trailing white space; empty when the key is missing or has no value.
    std::string board_io;
    std::string board_core;
    std::string baseline_text;
    uint32_t board_id; // composed as the update composes it: a missing key counts 0
    int baseline;      // the running baseline, 1 or 2, as the update reads it; 0 for neither
};

// An installed version file, composed as the update compares it.
struct version_status {
    const char* path;
    const char* label;
    int result;           // of map_file: 0 when the file was read
    map_step failed_step; // with a result: which step failed
    bool whole;           // composed whole; a version file cut to fit never matches a package
    std::string text;     // the installed version text: label, blank, the file's text, trimmed
};

enum bootloader_state : int {
    BOOTLOADER_UNREAD,        // the administration could not be read
    BOOTLOADER_ERASED,        // the record's bytes all erased
    BOOTLOADER_CORRUPT,       // neither erased nor a header that can be taken
    BOOTLOADER_IMAGE_UNREAD,  // a good header, but its image could not be read
    BOOTLOADER_IMAGE_DAMAGED, // a good header, but its image lacks the record's CRC-32
    BOOTLOADER_GOOD,          // header and image as the boot loader takes them
};

enum linux_state : int {
    LINUX_UNREAD,  // the administration could not be read
    LINUX_ERASED,  // the record's bytes all erased
    LINUX_INVALID, // neither erased nor a valid record for this board
    LINUX_VALID,   // valid for this board
};

inline constexpr int NO_SLOT = -1;
inline constexpr int NO_BASELINE = 0;

// Both administrations as read, each slot's verdict, and what the boot
// loader starts next.
struct dataflash_status {
    int bootloader_result; // 0 when the bootloader administration was read
    int linux_result;      // 0 when the Linux administration was read
    std::array<uint8_t, ADMIN_AREA_SIZE> bootloader_area;
    std::array<uint8_t, ADMIN_AREA_SIZE> linux_area;
    std::array<bootloader_state, BOOTLOADER_SLOT_COUNT> bootloader;
    std::array<linux_state, 2> linux_slots; // baseline 1, baseline 2
    // Whether both are known: every record needed to choose was read.
    bool next_bootloader_known;
    bool next_baseline_known;
    // The newest bootloader record with a good header and image, or NO_SLOT.
    int next_bootloader;
    // The baseline of the newest valid Linux record for this board (baseline 1
    // on equal sequences), or NO_BASELINE.
    int next_baseline;
};

struct board_status {
    kernel_status kernel;
    version_status rootfs;
    version_status apps;
    dataflash_status dataflash;
};

void read_kernel_status(kernel_status* kernel);

void read_version_status(const char* path, const char* label, version_status* version);

// Reads both administrations and the images of the bootloader records with a
// good header, judged for the board: after a failed read of the bootloader
// administration nothing more is read. work_buffer holds DATAFLASH_SIZE bytes.
void read_dataflash_status(uint32_t board_id, uint8_t* work_buffer, dataflash_status* dataflash);

// Everything, from the update's own places: /proc/cmdline, /version,
// /mnt/apps/version and the dataflash.
void read_board_status(board_status* status);

enum restart_state : int {
    RESTART_UNKNOWN,     // the running or the next baseline is not known
    RESTART_NOT_PENDING, // the boot loader starts the running baseline
    RESTART_PENDING,     // it starts the other one
};

// Whether the boot loader starts a baseline other than the running one.
[[nodiscard]] restart_state restart_pending(const board_status& status);

// The record bytes of a bootloader slot and of a baseline's Linux slot.
[[nodiscard]] const uint8_t* bootloader_slot_bytes(const dataflash_status& dataflash, int slot);
[[nodiscard]] const uint8_t* linux_slot_bytes(const dataflash_status& dataflash, int baseline);
