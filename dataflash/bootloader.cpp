// SPDX-License-Identifier: MIT
#include "dataflash/bootloader.h"

#include "dataflash/layout.h"
#include "dataflash/records.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/byte_order.h"
#include "firmpack/checksum.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

namespace record = bootloader_admin_record;

constexpr const char* PACKAGE_NAME = "bootloader";
// Lines of differing bytes shown for an image that reads back wrong.
constexpr int MAX_BYTE_ERROR_LINES = 20;

// The slot of no record.
constexpr int NO_RECORD = -1;

// Where a new bootloader goes: the slot that does not hold the newest record,
// with a sequence one higher than the newest record's.
struct bootloader_target {
    int slot;
    uint32_t sequence;
};
constexpr bootloader_target FIRST_TARGET = {0, 1};

// An image written into a slot's image area and read back verified.
struct bootloader_image {
    uint32_t offset;
    uint32_t length;
    uint32_t crc;
};

// Both slots as last read, with the verdicts of their validation in their
// valid fields; all zero before, so that no record counts as valid.
std::array<uint8_t, ADMIN_AREA_SIZE> admin_copy;
bool loaded = false;
// The slot whose record a store prepared.
int prepared_slot = NO_RECORD;

uint8_t* slot_record(int slot)
{
    return admin_copy.data() + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
}

int check_package_type(const char* operation, int type)
{
    if (type != LIBSU_TYPE_BOOTLOADER) {
        printf("%s: Invalid type:%i\n", operation, type);
        return DATAFLASH_REFUSED;
    }
    return 0;
}

int check_administration_loaded(const char* operation)
{
    if (!loaded) {
        printf("ERROR: %s: update administration not loaded\n", operation);
        return DATAFLASH_REFUSED;
    }
    return 0;
}

int read_administration()
{
    if (dataflash_transfer(DATAFLASH_READ, admin_copy.data(), BOOTLOADER_ADMIN_OFFSET,
                           ADMIN_AREA_SIZE) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    loaded = true;
    return 0;
}

// Reads both slots and validates each record; the slots after a failing
// image read stay unvalidated.
int load_administration(uint8_t* work_buffer)
{
    if (read_administration() != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    for (int slot = 0; slot < BOOTLOADER_SLOT_COUNT; ++slot) {
        if (validate_bootloader_record(slot_record(slot), work_buffer) != 0) {
            return DATAFLASH_TRANSFER_FAILED;
        }
    }
    return 0;
}

// The slot of the newest valid record, or NO_RECORD. Reads only memory.
int newest_record()
{
    return newest_bootloader_record(admin_copy.data());
}

// Compares the newest valid record's description with the package's.
void compare_with_installed(const char* description, uint32_t* update_required)
{
    int newest = newest_record();
    if (newest == NO_RECORD) {
        printf("   Package '%-14.14s' not yet installed\n", PACKAGE_NAME);
        *update_required = 1;
        return;
    }
    const std::string_view installed = bootloader_record_description(slot_record(newest));
    const int length = static_cast<int>(installed.size());
    if (bootloader_description_matches(installed, description)) {
        printf("   Package '%-14.14s' not changed, got '%.*s'\n", PACKAGE_NAME, length,
               installed.data());
        return;
    }
    printf("   Package '%-14.14s' changed, got '%.*s', found '%s'\n", PACKAGE_NAME, length,
           installed.data(), description);
    *update_required = 1;
}

bootloader_target next_target()
{
    int newest = newest_record();
    if (newest == NO_RECORD) {
        return FIRST_TARGET;
    }
    return {1 - newest, get_le32(slot_record(newest) + record::SEQUENCE) + 1};
}

// Erases the slot's record in memory and writes the whole slot, so that the
// slot holds no valid record before its image area is touched. 0 or -1.
int erase_record(int slot)
{
    std::fill_n(slot_record(slot), record::SIZE, ERASED_BYTE);
    return write_admin_slot(BOOTLOADER_ADMIN_OFFSET, slot, slot_record(slot));
}

void report_read_back_mismatch(const uint8_t* data, const uint8_t* read_back, uint32_t length,
                               uint32_t image_crc)
{
    printf("CRC expected: %lu, CRC dataflash:%u\n", static_cast<unsigned long>(image_crc),
           checksum_crc32(0, read_back, length));
    int lines = 0;
    for (uint32_t i = 0; i < length && lines < MAX_BYTE_ERROR_LINES; ++i) {
        if (data[i] != read_back[i]) {
            printf("Error at byte: %i, (0x%x != 0x%x)\n", static_cast<int>(i), data[i],
                   read_back[i]);
            ++lines;
        }
    }
}

// Writes the image from the work buffer's copy into its area and reads it back
// over that copy. 0; -1 when a transfer failed; 19 when it reads back different.
int write_and_verify(const uint8_t* data, const bootloader_image& image, uint8_t* work_buffer)
{
    if (dataflash_transfer(DATAFLASH_WRITE, work_buffer, image.offset, image.length) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    if (dataflash_transfer(DATAFLASH_READ, work_buffer, image.offset, image.length) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    if (checksum_crc32(0, work_buffer, image.length) != image.crc) {
        report_read_back_mismatch(data, work_buffer, image.length, image.crc);
        return DATAFLASH_NOT_WRITTEN;
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

// Puts the record of a verified image into its slot in memory only and
// remembers the slot as the one to make persistent.
void prepare_record(const bootloader_target& target, const char* description,
                    const bootloader_image& image)
{
    uint8_t* r = slot_record(target.slot);
    put_le32(r + record::MAGIC, RECORD_MAGIC);
    put_le32(r + record::IMAGE_OFFSET, image.offset);
    put_le32(r + record::IMAGE_LENGTH, image.length);
    put_le32(r + record::IMAGE_CRC, image.crc);
    put_le32(r + record::VALID, RECORD_VALID);
    put_le32(r + record::SEQUENCE, target.sequence);
    put_description(r, description);
    put_le32(r + record::MAGIC_END, RECORD_MAGIC);
    prepared_slot = target.slot;
}

// Erases the first bytes of the page-32 update administration, which this
// system never reads; done just before a new bootloader record is written.
int corrupt_update_administration()
{
    std::array<uint8_t, PAGE32_ADMIN_CORRUPT_LENGTH> erased;
    erased.fill(ERASED_BYTE);
    if (dataflash_transfer(DATAFLASH_WRITE, erased.data(), PAGE32_ADMIN_OFFSET,
                           PAGE32_ADMIN_CORRUPT_LENGTH) != 0) {
        printf("Corrupting update administration failed\n");
        return DATAFLASH_TRANSFER_FAILED;
    }
    return 0;
}

// Writes the prepared record's slot, reads the administration back and
// validates the header of the record read back.
int write_prepared_record()
{
    uint8_t* r = slot_record(prepared_slot);
    if (write_admin_slot(BOOTLOADER_ADMIN_OFFSET, prepared_slot, r) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    if (read_administration() != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    return validate_bootloader_record(r, nullptr);
}

} // namespace

int libsu_is_update_required(int type, const char* description, uint8_t* work_buffer,
                             uint32_t* update_required)
{
    int result = check_package_type(__func__, type);
    if (result != 0) {
        return result;
    }
    *update_required = 0;
    result = load_administration(work_buffer);
    if (result != 0) {
        return result;
    }
    compare_with_installed(description, update_required);
    return 0;
}

int libsu_store_package(int type, const char* description, const uint8_t* data, uint32_t length,
                        uint8_t* work_buffer)
{
    int result = check_package_type(__func__, type);
    if (result == 0) {
        result = check_administration_loaded(__func__);
    }
    if (result != 0) {
        return result;
    }
    printf("   Installing package '%-14.14s'... (%s)\n", PACKAGE_NAME, description);
    // A longer image would run into the other slot's image or the Linux
    // update administration.
    if (length > BOOTLOADER_IMAGE_AREA_SIZE) {
        printf("ERROR: Package '%-14.14s' too large (%u > %u bytes)\n", PACKAGE_NAME, length,
               BOOTLOADER_IMAGE_AREA_SIZE);
        return DATAFLASH_PACKAGE_TOO_LARGE;
    }
    // The target slot's record is invalid on the dataflash before its image
    // area is touched; the newest record stays the installed bootloader.
    const bootloader_target target = next_target();
    if (erase_record(target.slot) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    std::copy_n(data, length, work_buffer);
    const bootloader_image image = {BOOTLOADER_IMAGE_OFFSETS[target.slot], length,
                                    checksum_crc32(0, work_buffer, length)};
    result = write_and_verify(data, image, work_buffer);
    if (result != 0) {
        return result;
    }
    // Prepared in memory only: libsu_make_update_persistent writes it.
    prepare_record(target, description, image);
    return 0;
}

int libsu_make_update_persistent(int type)
{
    int result = check_package_type(__func__, type);
    if (result == 0) {
        result = check_administration_loaded(__func__);
    }
    if (result != 0) {
        return result;
    }
    if (prepared_slot == NO_RECORD) {
        printf("ERROR: Store the bootloader first!\n");
        return DATAFLASH_NOT_STORED;
    }
    if (corrupt_update_administration() != 0) {
        return DATAFLASH_NOT_WRITTEN;
    }
    return write_prepared_record();
}
