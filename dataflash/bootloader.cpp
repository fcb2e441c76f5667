#include "dataflash/bootloader.h"

#include "dataflash/record.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/checksum.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

namespace record = bootloader_admin_record;

constexpr const char* PACKAGE_NAME = "bootloader";
// Lines of differing bytes shown for an image that reads back wrong.
constexpr int MAX_BYTE_ERROR_LINES = 20;

// Compares the newest valid record's description with the package's.
void compare_with_installed(const char* description, uint32_t* update_required)
{
    int newest = find_newest_record();
    if (newest < 0) {
        printf("   Package '%-14.14s' not yet installed\n", PACKAGE_NAME);
        *update_required = 1;
        return;
    }
    uint8_t* newest_record = admin_records[newest];
    newest_record[record::DESCRIPTION_END] = 0;
    const char* installed = reinterpret_cast<const char*>(newest_record + record::DESCRIPTION);
    if (strcmp(description, installed) == 0) {
        printf("   Package '%-14.14s' not changed, got '%s'\n", PACKAGE_NAME, installed);
        return;
    }
    printf("   Package '%-14.14s' changed, got '%s', found '%s'\n", PACKAGE_NAME, installed,
           description);
    *update_required = 1;
}

void put_description(uint8_t* r, const char* description)
{
    uint8_t* field = r + record::DESCRIPTION;
    std::size_t length = strnlen(description, record::DESCRIPTION_SIZE);
    memcpy(field, description, length);
    memset(field + length, 0, record::DESCRIPTION_SIZE - length);
    r[record::DESCRIPTION_END] = 0;
}

void put_record(uint8_t* r, const char* description, uint32_t sequence, uint32_t image_offset,
                uint32_t image_length, uint32_t image_crc)
{
    put_le32(r + record::MAGIC, RECORD_MAGIC);
    put_le32(r + record::IMAGE_OFFSET, image_offset);
    put_le32(r + record::IMAGE_LENGTH, image_length);
    put_le32(r + record::IMAGE_CRC, image_crc);
    put_le32(r + record::VALID, RECORD_VALID);
    put_le32(r + record::SEQUENCE, sequence);
    put_description(r, description);
    put_le32(r + record::MAGIC_END, RECORD_MAGIC);
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

// Writes the image into its area and reads it back over the work buffer's
// copy. 0; -1 when a transfer failed; 19 when it reads back different.
int write_and_verify(const uint8_t* data, uint32_t length, uint32_t image_offset,
                     uint32_t image_crc, uint8_t* work_buffer)
{
    if (dataflash_transfer(DATAFLASH_WRITE, work_buffer, image_offset, length) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    if (dataflash_transfer(DATAFLASH_READ, work_buffer, image_offset, length) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    if (checksum_crc32(0, work_buffer, length) != image_crc) {
        report_read_back_mismatch(data, work_buffer, length, image_crc);
        return RESULT_READ_BACK_DIFFERS;
    }
    return 0;
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
    if (read_bootloader_administration() != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    for (uint8_t* r : admin_records) {
        result = validate_bootloader_record(r, work_buffer);
        if (result != 0) {
            return result;
        }
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
        return RESULT_PACKAGE_TOO_LARGE;
    }
    int newest = find_newest_record();
    int target = newest < 0 ? 0 : 1 - newest;
    uint32_t sequence = newest < 0 ? 1 : get_le32(admin_records[newest] + record::SEQUENCE) + 1;

    // The target slot's record is invalid on the dataflash before its image
    // area is touched; the newest record stays the installed bootloader.
    uint8_t* slot = admin_records[target];
    std::fill_n(slot, record::SIZE, 0xFF);
    if (write_admin_slot(BOOTLOADER_ADMIN_OFFSET, target, slot) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    std::copy_n(data, length, work_buffer);
    uint32_t image_offset = BOOTLOADER_IMAGE_OFFSETS[target];
    uint32_t image_crc = checksum_crc32(0, work_buffer, length);
    result = write_and_verify(data, length, image_offset, image_crc, work_buffer);
    if (result != 0) {
        return result;
    }
    // Prepared in memory only: libsu_make_update_persistent writes it.
    put_record(slot, description, sequence, image_offset, length, image_crc);
    stored_slot = target;
    return 0;
}
