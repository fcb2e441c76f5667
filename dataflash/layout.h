// The dataflash layout shared with the board's boot loader: 8192 pages of 528
// bytes. Every area starts on a page boundary; offsets are from the device start.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr uint32_t DATAFLASH_PAGE_SIZE = 528;
inline constexpr uint32_t DATAFLASH_SIZE = 0x420000;

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
