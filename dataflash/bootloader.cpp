// SPDX-License-Identifier: MIT
#include "dataflash/bootloader.h"

#include "dataflash/bootloader_admin.h"
#include "dataflash/record.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/checksum.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr const char* PACKAGE_NAME = "bootloader";
// Lines of differing bytes shown for an image that reads back wrong.
constexpr int MAX_BYTE_ERROR_LINES = 20;

// Compares the newest valid record's description with the package's.
void compare_with_installed(const char* description, uint32_t* update_required)
{
    int newest = newest_bootloader_record();
    if (newest == NO_BOOTLOADER_RECORD) {
        printf("   Package '%-14.14s' not yet installed\n", PACKAGE_NAME);
        *update_required = 1;
        return;
    }
    const char* installed = bootloader_description(newest);
    if (strcmp(description, installed) == 0) {
        printf("   Package '%-14.14s' not changed, got '%s'\n", PACKAGE_NAME, installed);
        return;
    }
    printf("   Package '%-14.14s' changed, got '%s', found '%s'\n", PACKAGE_NAME, installed,
           description);
    *update_required = 1;
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
        return RESULT_TRANSFER_FAILED;
    }
    if (dataflash_transfer(DATAFLASH_READ, work_buffer, image.offset, image.length) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    if (checksum_crc32(0, work_buffer, image.length) != image.crc) {
        report_read_back_mismatch(data, work_buffer, image.length, image.crc);
        return RESULT_READ_BACK_DIFFERS;
    }
    return 0;
}

} // namespace

int check_package_type(const char* operation, int type)
{
    if (type != LIBSU_TYPE_BOOTLOADER) {
        printf("%s: Invalid type:%i\n", operation, type);
        return RESULT_BAD_REQUEST;
    }
    return 0;
}

int libsu_is_update_required(int type, const char* description, uint8_t* work_buffer,
                             uint32_t* update_required)
{
    int result = check_package_type(__func__, type);
    if (result != 0) {
        return result;
    }
    *update_required = 0;
    result = load_bootloader_administration(work_buffer);
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
        return RESULT_PACKAGE_TOO_LARGE;
    }
    // The target slot's record is invalid on the dataflash before its image
    // area is touched; the newest record stays the installed bootloader.
    bootloader_target target = next_bootloader_target();
    if (erase_bootloader_record(target.slot) != 0) {
        return RESULT_TRANSFER_FAILED;
    }
    std::copy_n(data, length, work_buffer);
    bootloader_image image = {BOOTLOADER_IMAGE_OFFSETS[target.slot], length,
                              checksum_crc32(0, work_buffer, length)};
    result = write_and_verify(data, image, work_buffer);
    if (result != 0) {
        return result;
    }
    // Prepared in memory only: libsu_make_update_persistent writes it.
    prepare_bootloader_record(target.slot, target.sequence, description, image);
    return 0;
}
