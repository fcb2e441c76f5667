// SPDX-License-Identifier: MIT
#include "dataflash/records.h"

#include "dataflash/layout.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"

#include <cstring>

namespace {

namespace bootloader = bootloader_admin_record;
namespace linux_record = linux_admin_record;

// The first byte after the bootloader update administration and the first
// byte of the Linux update administration bound every stored image.
constexpr uint32_t FIRST_IMAGE_BYTE = BOOTLOADER_ADMIN_OFFSET + ADMIN_AREA_SIZE;
constexpr uint32_t IMAGE_LIMIT = LINUX_ADMIN_OFFSET;
static_assert(FIRST_IMAGE_BYTE == 0xCE820 && IMAGE_LIMIT == 0x410040);

constexpr int NO_RECORD = -1;

// A record that fails validation is marked so in memory only.
void mark_invalid(uint8_t* record)
{
    put_le32(record + bootloader::VALID, 0);
}

} // namespace

bool bootloader_header_is_valid(const uint8_t* record)
{
    uint32_t magic = get_le32(record + bootloader::MAGIC);
    uint32_t image_offset = get_le32(record + bootloader::IMAGE_OFFSET);
    // The end is summed in 64 bits: an offset and a length whose 32-bit sum
    // wraps around would otherwise pass and lead a read far past the buffer.
    uint64_t image_end = uint64_t{image_offset} + get_le32(record + bootloader::IMAGE_LENGTH);
    return magic == RECORD_MAGIC && get_le32(record + bootloader::MAGIC_END) == magic &&
           get_le32(record + bootloader::VALID) != 0 &&
           get_le32(record + bootloader::SEQUENCE) != 0 && image_offset >= FIRST_IMAGE_BYTE &&
           image_end < IMAGE_LIMIT;
}

bool bootloader_image_has_crc(const uint8_t* record, const uint8_t* image)
{
    return checksum_crc32(0, image, get_le32(record + bootloader::IMAGE_LENGTH)) ==
           get_le32(record + bootloader::IMAGE_CRC);
}

int validate_bootloader_record(uint8_t* record, uint8_t* work_buffer)
{
    if (!bootloader_header_is_valid(record)) {
        mark_invalid(record);
        return 0;
    }
    if (work_buffer == nullptr) {
        return 0;
    }
    if (dataflash_transfer(DATAFLASH_READ, work_buffer, get_le32(record + bootloader::IMAGE_OFFSET),
                           get_le32(record + bootloader::IMAGE_LENGTH)) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    // A damaged image makes its record count as absent; that is no failure.
    if (!bootloader_image_has_crc(record, work_buffer)) {
        mark_invalid(record);
    }
    return 0;
}

int newest_bootloader_record(const uint8_t* area)
{
    const uint8_t* slot_1 = area + ADMIN_SLOT_SIZE;
    uint32_t valid_0 = get_le32(area + bootloader::VALID);
    uint32_t sequence_0 = get_le32(area + bootloader::SEQUENCE);
    uint32_t valid_1 = get_le32(slot_1 + bootloader::VALID);
    uint32_t sequence_1 = get_le32(slot_1 + bootloader::SEQUENCE);
    // Slot 1 must be strictly newer: with equal sequences slot 0 wins.
    uint32_t newest_sequence = valid_0 != 0 ? sequence_0 : 0;
    int newest = valid_0 != 0 && sequence_0 != 0 ? 0 : NO_RECORD;
    if (valid_1 != 0 && sequence_1 > newest_sequence) {
        newest = 1;
    }
    return newest;
}

std::string_view bootloader_record_description(const uint8_t* record)
{
    const char* text = reinterpret_cast<const char*>(record + bootloader::DESCRIPTION);
    return {text, strnlen(text, bootloader::DESCRIPTION_KEPT)};
}

bool linux_record_is_valid(const uint8_t* record, uint32_t board_id)
{
    uint32_t magic = get_le32(record + linux_record::MAGIC);
    return magic == RECORD_MAGIC && get_le32(record + linux_record::MAGIC_END) == magic &&
           get_le32(record + linux_record::VALID) == RECORD_VALID &&
           get_le32(record + linux_record::FORMAT) == linux_record::FORMAT_CURRENT &&
           get_le32(record + linux_record::BOARD_ID) == board_id;
}
