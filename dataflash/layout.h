// The dataflash layout shared with the board's boot loader: 8192 pages of 528
// bytes, every area starting on a page boundary, offsets from the device
// start; and the update administration records inside the areas' slots:
// unsigned 32-bit little-endian fields at fixed offsets, read and written byte
// by byte (firmpack/byte_order.h) so that no alignment of a slot in memory is
// assumed.
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

inline constexpr uint32_t DATAFLASH_PAGE_SIZE = 528;
inline constexpr uint32_t DATAFLASH_SIZE = 0x420000;
// The dataflash has no erase command here: erasing means writing this byte.
inline constexpr uint8_t ERASED_BYTE = 0xFF;

// First bytes of the page-32 update administration, only ever overwritten with 0xFF.
inline constexpr uint32_t PAGE32_ADMIN_OFFSET = 0x4200;
inline constexpr uint32_t PAGE32_ADMIN_CORRUPT_LENGTH = 10;

// Bootloader update administration: two slots used alternately.
inline constexpr uint32_t BOOTLOADER_ADMIN_OFFSET = 0xCE400;
// Bootloader image areas of slot 0 and slot 1.
inline constexpr uint32_t BOOTLOADER_IMAGE_OFFSET_0 = 0xCE820;
inline constexpr uint32_t BOOTLOADER_IMAGE_OFFSET_1 = 0x26F430;
inline constexpr uint32_t BOOTLOADER_IMAGE_AREA_SIZE = 0x1A0C10;

// Linux update administration: one slot per baseline, baseline 1 first.
inline constexpr uint32_t LINUX_ADMIN_OFFSET = 0x410040;

// Each administration area: two slots, always read as one block.
inline constexpr uint32_t ADMIN_SLOT_SIZE = DATAFLASH_PAGE_SIZE;
inline constexpr uint32_t ADMIN_AREA_SIZE = 2 * ADMIN_SLOT_SIZE;

static_assert(DATAFLASH_SIZE == 8192 * DATAFLASH_PAGE_SIZE);
static_assert(PAGE32_ADMIN_OFFSET == 32 * DATAFLASH_PAGE_SIZE);
static_assert(BOOTLOADER_ADMIN_OFFSET == 1600 * DATAFLASH_PAGE_SIZE);
static_assert(BOOTLOADER_IMAGE_OFFSET_0 == BOOTLOADER_ADMIN_OFFSET + ADMIN_AREA_SIZE);
static_assert(BOOTLOADER_IMAGE_OFFSET_1 == BOOTLOADER_IMAGE_OFFSET_0 + BOOTLOADER_IMAGE_AREA_SIZE);
static_assert(BOOTLOADER_IMAGE_AREA_SIZE == 3233 * DATAFLASH_PAGE_SIZE);
static_assert(LINUX_ADMIN_OFFSET == BOOTLOADER_IMAGE_OFFSET_1 + BOOTLOADER_IMAGE_AREA_SIZE);
static_assert(LINUX_ADMIN_OFFSET == 8068 * DATAFLASH_PAGE_SIZE);
static_assert(LINUX_ADMIN_OFFSET + ADMIN_AREA_SIZE <= DATAFLASH_SIZE);

// Where the slot of a bootloader record (0, 1) and of a baseline's record (1, 2) starts.
constexpr uint32_t bootloader_slot_offset(int slot)
{
    return BOOTLOADER_ADMIN_OFFSET + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
}

constexpr uint32_t linux_slot_offset(int baseline)
{
    return LINUX_ADMIN_OFFSET + ADMIN_SLOT_SIZE * static_cast<uint32_t>(baseline - 1);
}

inline constexpr uint32_t RECORD_MAGIC = 0xDEADBEEF;
inline constexpr uint32_t RECORD_VALID = 1;

// linux_admin_record: the first 24 bytes of the slot of a baseline.
namespace linux_admin_record {
inline constexpr uint32_t MAGIC = 0;
inline constexpr uint32_t VALID = 4;
inline constexpr uint32_t SEQUENCE = 8;
inline constexpr uint32_t FORMAT = 12;
inline constexpr uint32_t BOARD_ID = 16;
inline constexpr uint32_t MAGIC_END = 20;
inline constexpr uint32_t SIZE = 24;
inline constexpr uint32_t FORMAT_CURRENT = 2;
} // namespace linux_admin_record

static_assert(linux_admin_record::MAGIC_END + 4 == linux_admin_record::SIZE);
static_assert(linux_admin_record::SIZE <= ADMIN_SLOT_SIZE);

// bootloader_admin_record: the first 292 bytes of a bootloader slot.
namespace bootloader_admin_record {
inline constexpr uint32_t MAGIC = 0;
inline constexpr uint32_t IMAGE_OFFSET = 4;
inline constexpr uint32_t IMAGE_LENGTH = 8;
inline constexpr uint32_t IMAGE_CRC = 12;
inline constexpr uint32_t VALID = 16;
inline constexpr uint32_t SEQUENCE = 20;
inline constexpr uint32_t DESCRIPTION = 24;
inline constexpr uint32_t DESCRIPTION_SIZE = 264;
// Always 0, so at most 263 characters of the description remain.
inline constexpr uint32_t DESCRIPTION_END = 287;
inline constexpr uint32_t DESCRIPTION_KEPT = DESCRIPTION_END - DESCRIPTION;
inline constexpr uint32_t MAGIC_END = 288;
inline constexpr uint32_t SIZE = 292;
} // namespace bootloader_admin_record

static_assert(bootloader_admin_record::DESCRIPTION + bootloader_admin_record::DESCRIPTION_SIZE ==
              bootloader_admin_record::MAGIC_END);
static_assert(bootloader_admin_record::DESCRIPTION_END == bootloader_admin_record::MAGIC_END - 1);
static_assert(bootloader_admin_record::MAGIC_END + 4 == bootloader_admin_record::SIZE);
static_assert(bootloader_admin_record::SIZE <= ADMIN_SLOT_SIZE);

// Whether a bootloader whose record holds the description recorded is the
// package described as description. A record keeps only the first
// DESCRIPTION_KEPT characters, so a longer description never matches.
[[nodiscard]] constexpr bool bootloader_description_matches(std::string_view recorded,
                                                            std::string_view description)
{
    return recorded.substr(0, bootloader_admin_record::DESCRIPTION_KEPT) == description;
}

inline constexpr int BOOTLOADER_SLOT_COUNT = 2;
// Where each slot's image lies; a new record's image_offset comes from here.
inline constexpr std::array<uint32_t, BOOTLOADER_SLOT_COUNT> BOOTLOADER_IMAGE_OFFSETS = {
    BOOTLOADER_IMAGE_OFFSET_0, BOOTLOADER_IMAGE_OFFSET_1};
static_assert(ADMIN_AREA_SIZE == BOOTLOADER_SLOT_COUNT * ADMIN_SLOT_SIZE);
