// Update administration records as the board's boot loader reads them:
// unsigned 32-bit little-endian fields at fixed offsets at the start of a
// 528-byte slot, read and written byte by byte so that no alignment of the
// slot in memory is assumed. Also the process-wide copy of the bootloader
// update administration that the change check, the store and the persistence
// share.
#pragma once

#include "dataflash/layout.h"
#include "firmpack/byte_order.h"

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

// The bootloader update administration as last read (both slots), with the
// validation verdicts in its valid fields; admin_records point at its two
// slots once it has been read, and are null before. stored_slot is the slot
// whose image was written and verified in this process, -1 before.
extern std::array<uint8_t, ADMIN_AREA_SIZE> admin_copy;
extern std::array<uint8_t*, BOOTLOADER_SLOT_COUNT> admin_records;
extern int stored_slot;

// Reads both bootloader slots into admin_copy and points admin_records at
// them. 0, or -1 when the transfer failed.
[[nodiscard]] int read_bootloader_administration();

// 0 for package type 1, the bootloader; otherwise prints that the operation
// refuses the type and returns 22.
[[nodiscard]] int check_package_type(const char* operation, int type);

// 0 when the bootloader administration has been read in this process;
// otherwise prints that the operation found it not loaded and returns 22.
[[nodiscard]] int check_administration_loaded(const char* operation);

// Writes one whole 528-byte slot of the administration area at area_offset.
// 0, or -1 when the transfer failed.
[[nodiscard]] int write_admin_slot(uint32_t area_offset, int slot, uint8_t* slot_bytes);

// Checks the header of a bootloader record (a 528-byte slot) and, with a
// work buffer, the CRC-32 of its image; a record that fails gets valid 0.
// 0, or -1 when the image could not be read (the record is then unchanged).
[[nodiscard]] int validate_bootloader_record(uint8_t* record, uint8_t* work_buffer);

// The slot of the newest valid record in admin_records, or -1 for none (also
// before the administration has been read). Reads only memory.
[[nodiscard]] int find_newest_record();
