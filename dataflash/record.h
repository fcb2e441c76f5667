// Layouts of the update administration records as the board's boot loader
// reads them: unsigned 32-bit little-endian fields at fixed offsets at the
// start of a 528-byte slot, read and written byte by byte (firmpack/byte_order.h)
// so that no alignment of the slot in memory is assumed.
// SPDX-License-Identifier: MIT
#pragma once

#include "dataflash/layout.h"

#include <array>
#include <cstdint>

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

inline constexpr int BOOTLOADER_SLOT_COUNT = 2;
// Where each slot's image lies; a new record's image_offset comes from here.
inline constexpr std::array<uint32_t, BOOTLOADER_SLOT_COUNT> BOOTLOADER_IMAGE_OFFSETS = {
    BOOTLOADER_IMAGE_OFFSET_0, BOOTLOADER_IMAGE_OFFSET_1};
static_assert(ADMIN_AREA_SIZE == BOOTLOADER_SLOT_COUNT * ADMIN_SLOT_SIZE);
