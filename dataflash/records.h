// What the update administration records say, judged as the boot loader and
// the update judge them: pure functions over a record's bytes (layout.h), and
// the validation that reads a bootloader record's image through
// dataflash_transfer. The update and firmpack-status both judge records here.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

// Whether a bootloader record's header can be taken: the magic at both ends,
// valid and sequence not 0, and an image that starts after the bootloader
// administration and ends before the Linux administration.
[[nodiscard]] bool bootloader_header_is_valid(const uint8_t* record);

// Whether image, the record's image_length bytes as read from its
// image_offset, has the record's CRC-32.
[[nodiscard]] bool bootloader_image_has_crc(const uint8_t* record, const uint8_t* image);

// Validates a bootloader record in memory: a record whose header fails, or
// whose image (read into work_buffer, DATAFLASH_SIZE bytes) does not have its
// CRC-32, gets valid 0. With a null work_buffer the header alone is checked.
// 0, or -1 when the image could not be read (the record is then unchanged).
[[nodiscard]] int validate_bootloader_record(uint8_t* record, uint8_t* work_buffer);

// The slot (0 or 1) of the newest record among the two slots of the
// bootloader administration in area (ADMIN_AREA_SIZE bytes), by their valid
// fields and sequences as they stand; -1 when neither has valid and a
// sequence. With equal sequences slot 0 is the newest.
[[nodiscard]] int newest_bootloader_record(const uint8_t* area);

// A bootloader record's description: its text up to the first NUL, at most
// the DESCRIPTION_KEPT characters before the byte that always ends it.
[[nodiscard]] std::string_view bootloader_record_description(const uint8_t* record);

// Whether a Linux record is a valid one for the board: the magic at both ends,
// valid 1, the current format and the board's id.
[[nodiscard]] bool linux_record_is_valid(const uint8_t* record, uint32_t board_id);
