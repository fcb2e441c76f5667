// The bootloader update administration as this process holds it: both slots
// as last read from the dataflash, with the verdicts of their validation in
// their valid fields, and the slot whose record a store prepared. The change
// check, the store and the persistence share it through these operations only.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// The slot of no record.
inline constexpr int NO_BOOTLOADER_RECORD = -1;

// Where a new bootloader goes: the slot that does not hold the newest record,
// with a sequence one higher than the newest record's (slot 0 with sequence 1
// when there is none).
struct bootloader_target {
    int slot;
    uint32_t sequence;
};

// An image written into a slot's image area and read back verified.
struct bootloader_image {
    uint32_t offset;
    uint32_t length;
    uint32_t crc;
};

// Reads both slots and validates each record: its header, and its image's
// CRC-32 read into work_buffer (a buffer of DATAFLASH_SIZE bytes); a record
// that fails gets valid 0 in memory. 0, or -1 when a read failed (the slots
// after the failing image read stay unvalidated).
[[nodiscard]] int load_bootloader_administration(uint8_t* work_buffer);

// 0 when the administration has been read in this process; otherwise prints
// that the operation found it not loaded and returns 22.
[[nodiscard]] int check_administration_loaded(const char* operation);

// The slot of the newest valid record, or NO_BOOTLOADER_RECORD for none (also
// before loading). Reads only memory.
[[nodiscard]] int newest_bootloader_record();

// The description of the slot's record, ended at its last byte.
[[nodiscard]] const char* bootloader_description(int slot);

// Where the next bootloader goes. Reads only memory.
[[nodiscard]] bootloader_target next_bootloader_target();

// Erases the slot's record in memory and writes the whole slot, so that the
// slot holds no valid record before its image area is touched. 0 or -1.
[[nodiscard]] int erase_bootloader_record(int slot);

// Puts the record of a verified image into its slot in memory only and
// remembers the slot as the one to make persistent.
void prepare_bootloader_record(int slot, uint32_t sequence, const char* description,
                               const bootloader_image& image);

// Whether a store prepared a record in this process.
[[nodiscard]] bool bootloader_record_prepared();

// Writes the prepared record's slot, reads the administration back and
// validates the header of the record read back. 0, or -1 when a transfer failed.
[[nodiscard]] int write_prepared_bootloader_record();
