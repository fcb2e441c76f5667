// SPDX-License-Identifier: MIT
#include "dataflash/bootloader_admin.h"

#include "dataflash/record.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace {

namespace record = bootloader_admin_record;

// The first byte after the bootloader update administration and the first
// byte of the Linux update administration bound every stored image.
constexpr uint32_t FIRST_IMAGE_BYTE = BOOTLOADER_ADMIN_OFFSET + ADMIN_AREA_SIZE;
constexpr uint32_t IMAGE_LIMIT = LINUX_ADMIN_OFFSET;
static_assert(FIRST_IMAGE_BYTE == 0xCE820 && IMAGE_LIMIT == 0x410040);

constexpr bootloader_target FIRST_TARGET = {0, 1};
constexpr uint8_t ERASED_BYTE = 0xFF;

// Both slots as last read; all zero before, so that no record counts as valid.
std::array<uint8_t, ADMIN_AREA_SIZE> admin_copy;
bool loaded = false;
// The slot whose record a store prepared.
int prepared_slot = NO_BOOTLOADER_RECORD;

uint8_t* slot_record(int slot)
{
    return admin_copy.data() + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
}

int read_administration()
{
    if (dataflash_transfer(DATAFLASH_READ, admin_copy.data(), BOOTLOADER_ADMIN_OFFSET,
                           ADMIN_AREA_SIZE) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    loaded = true;
    return 0;
}

bool header_is_valid(const uint8_t* r)
{
    uint32_t magic = get_le32(r + record::MAGIC);
    uint32_t image_offset = get_le32(r + record::IMAGE_OFFSET);
    // The end is summed in 64 bits: an offset and a length whose 32-bit sum
    // wraps around would otherwise pass and lead a read far past the buffer.
    uint64_t image_end = uint64_t{image_offset} + get_le32(r + record::IMAGE_LENGTH);
    return magic == RECORD_MAGIC && get_le32(r + record::MAGIC_END) == magic &&
           get_le32(r + record::VALID) != 0 && get_le32(r + record::SEQUENCE) != 0 &&
           image_offset >= FIRST_IMAGE_BYTE && image_end < IMAGE_LIMIT;
}

// A record that fails validation is marked so in memory only.
void mark_invalid(uint8_t* r)
{
    put_le32(r + record::VALID, 0);
}

// The header, then the image's CRC-32. 0, or -1 when the image could not be
// read (the record is then unchanged).
int validate_record(uint8_t* r, uint8_t* work_buffer)
{
    if (!header_is_valid(r)) {
        mark_invalid(r);
        return 0;
    }
    uint32_t image_offset = get_le32(r + record::IMAGE_OFFSET);
    uint32_t image_length = get_le32(r + record::IMAGE_LENGTH);
    if (dataflash_transfer(DATAFLASH_READ, work_buffer, image_offset, image_length) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    // A damaged image makes its record count as absent; that is no failure.
    if (checksum_crc32(0, work_buffer, image_length) != get_le32(r + record::IMAGE_CRC)) {
        mark_invalid(r);
    }
    return 0;
}

void put_description(uint8_t* r, const char* description)
{
    uint8_t* field = r + record::DESCRIPTION;
    std::size_t length = strnlen(description, record::DESCRIPTION_SIZE);
    memcpy(field, description, length);
    memset(field + length, 0, record::DESCRIPTION_SIZE - length);
    r[record::DESCRIPTION_END] = 0;
}

} // namespace

int load_bootloader_administration(uint8_t* work_buffer)
{
    if (read_administration() != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    for (int slot = 0; slot < BOOTLOADER_SLOT_COUNT; ++slot) {
        if (validate_record(slot_record(slot), work_buffer) != 0) {
            return RESULT_TRANSFER_FAILED;
        }
    }
    return 0;
}

int check_administration_loaded(const char* operation)
{
    if (!loaded) {
        printf("ERROR: %s: update administration not loaded\n", operation);
        return RESULT_BAD_REQUEST;
    }
    return 0;
}

int newest_bootloader_record()
{
    uint32_t valid_0 = get_le32(slot_record(0) + record::VALID);
    uint32_t sequence_0 = get_le32(slot_record(0) + record::SEQUENCE);
    uint32_t valid_1 = get_le32(slot_record(1) + record::VALID);
    uint32_t sequence_1 = get_le32(slot_record(1) + record::SEQUENCE);
    // Slot 1 must be strictly newer: with equal sequences slot 0 wins.
    uint32_t newest_sequence = valid_0 != 0 ? sequence_0 : 0;
    int newest = valid_0 != 0 && sequence_0 != 0 ? 0 : NO_BOOTLOADER_RECORD;
    if (valid_1 != 0 && sequence_1 > newest_sequence) {
        newest = 1;
    }
    return newest;
}

const char* bootloader_description(int slot)
{
    uint8_t* r = slot_record(slot);
    r[record::DESCRIPTION_END] = 0;
    return reinterpret_cast<const char*>(r + record::DESCRIPTION);
}

bootloader_target next_bootloader_target()
{
    int newest = newest_bootloader_record();
    if (newest == NO_BOOTLOADER_RECORD) {
        return FIRST_TARGET;
    }
    return {1 - newest, get_le32(slot_record(newest) + record::SEQUENCE) + 1};
}

int erase_bootloader_record(int slot)
{
    std::fill_n(slot_record(slot), record::SIZE, ERASED_BYTE);
    return write_admin_slot(BOOTLOADER_ADMIN_OFFSET, slot, slot_record(slot));
}

void prepare_bootloader_record(int slot, uint32_t sequence, const char* description,
                               const bootloader_image& image)
{
    uint8_t* r = slot_record(slot);
    put_le32(r + record::MAGIC, RECORD_MAGIC);
    put_le32(r + record::IMAGE_OFFSET, image.offset);
    put_le32(r + record::IMAGE_LENGTH, image.length);
    put_le32(r + record::IMAGE_CRC, image.crc);
    put_le32(r + record::VALID, RECORD_VALID);
    put_le32(r + record::SEQUENCE, sequence);
    put_description(r, description);
    put_le32(r + record::MAGIC_END, RECORD_MAGIC);
    prepared_slot = slot;
}

bool bootloader_record_prepared()
{
    return prepared_slot != NO_BOOTLOADER_RECORD;
}

int write_prepared_bootloader_record()
{
    uint8_t* r = slot_record(prepared_slot);
    if (write_admin_slot(BOOTLOADER_ADMIN_OFFSET, prepared_slot, r) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    if (read_administration() != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    if (!header_is_valid(r)) {
        mark_invalid(r);
    }
    return 0;
}
