// The update administration records as the board VM seeds and checks them:
// written from "field=value" words and shown as one line of text per slot.
// The record layout is the tool's own (dataflash/layout.h); what the tool
// makes of the records is its own code, which these words and lines check.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// A record's bytes from "field=value" words over the defaults (a valid record:
// magic, valid 1, sequence 1, format 2, magic_end equal to magic). Numbers take
// C notation (0x..). Bootloader records take image_crc and image_length from
// image_bytes unless given. 0, or 22 with the offending word in *error.
[[nodiscard]] int encode_linux_record(const std::vector<std::string>& words,
                                      std::vector<uint8_t>* record, std::string* error);
[[nodiscard]] int encode_bootloader_record(const std::vector<std::string>& words,
                                           uint32_t default_image_offset,
                                           const std::vector<uint8_t>& image_bytes,
                                           std::vector<uint8_t>* record, std::string* error);

// One line per record: its fields, or "erased" when all its bytes are 0xFF.
std::string describe_linux_record(const uint8_t* record);
// image_status tells whether the image the record names has its CRC.
std::string describe_bootloader_record(const uint8_t* record, const std::string& image_status);

// The standard CRC-32 of an image, bit by bit: a check of the tool's own
// table-driven CRC, not a use of it.
uint32_t image_crc32(const uint8_t* bytes, uint32_t length);

// Fields of a bootloader record that say where its image lies.
uint32_t bootloader_image_offset(const uint8_t* record);
uint32_t bootloader_image_length(const uint8_t* record);
uint32_t bootloader_image_crc(const uint8_t* record);

// What the boot loader takes at its start. A bootloader record counts with
// the magic at both ends, valid not 0 and a sequence; where its image lies and
// its CRC are the caller's to check. A Linux record counts with the magic at
// both ends, valid 1, the current format and the board's id.
bool bootloader_record_counts(const uint8_t* record);
bool linux_record_counts(const uint8_t* record, uint32_t board_id);
uint32_t bootloader_sequence(const uint8_t* record);
uint32_t linux_sequence(const uint8_t* record);
// The description, quoted, with anything unprintable escaped.
std::string bootloader_description(const uint8_t* record);
