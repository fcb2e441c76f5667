// SPDX-License-Identifier: MIT
#include "dataflash/admin.h"

#include "dataflash/bootloader.h"
#include "dataflash/bootloader_admin.h"
#include "dataflash/record.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/byte_order.h"

#include <array>
#include <cstdio>

namespace {

namespace linux_record = linux_admin_record;

constexpr int FIRST_BASELINE = 1;
constexpr int LAST_BASELINE = 2;
constexpr uint8_t ERASED_BYTE = 0xFF;

bool is_baseline(int baseline)
{
    return baseline == FIRST_BASELINE || baseline == LAST_BASELINE;
}

uint8_t* linux_slot(std::array<uint8_t, ADMIN_AREA_SIZE>& area, int baseline)
{
    return area.data() + ADMIN_SLOT_SIZE * static_cast<uint32_t>(baseline - FIRST_BASELINE);
}

bool linux_record_is_valid(const uint8_t* r, uint32_t board_id)
{
    uint32_t magic = get_le32(r + linux_record::MAGIC);
    return magic == RECORD_MAGIC && get_le32(r + linux_record::MAGIC_END) == magic &&
           get_le32(r + linux_record::VALID) == RECORD_VALID &&
           get_le32(r + linux_record::FORMAT) == linux_record::FORMAT_CURRENT &&
           get_le32(r + linux_record::BOARD_ID) == board_id;
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
        return RESULT_TRANSFER_FAILED;
    }
    return 0;
}

} // namespace

int finalise_fs_update(int current_baseline, int updating_baseline, uint32_t board_id)
{
    if (!is_baseline(current_baseline) || !is_baseline(updating_baseline) ||
        current_baseline == updating_baseline) {
        printf("ERROR: %s: Invalid baselines %i, %i\n", __func__, current_baseline,
               updating_baseline);
        return RESULT_BAD_REQUEST;
    }
    std::array<uint8_t, ADMIN_AREA_SIZE> area;
    if (dataflash_transfer(DATAFLASH_READ, area.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) != 0) {
        printf("ERROR: Failed to read update administration in DF!\n");
        return RESULT_ADMIN_UNREACHABLE;
    }
    uint8_t* running = linux_slot(area, current_baseline);
    if (!linux_record_is_valid(running, board_id)) {
        printf("ERROR: Linux update administration in DF corrupt!\n");
        return RESULT_ADMIN_CORRUPT;
    }
    // The updated baseline's slot becomes the running one's whole slot with
    // the next sequence number; the sequence wraps around like the counter it is.
    put_le32(running + linux_record::SEQUENCE, get_le32(running + linux_record::SEQUENCE) + 1);
    put_le32(running + linux_record::VALID, RECORD_VALID);
    if (write_admin_slot(LINUX_ADMIN_OFFSET, updating_baseline - FIRST_BASELINE, running) != 0) {
        printf("ERROR: Failed to store update administration in DF!\n");
        return RESULT_ADMIN_UNREACHABLE;
    }
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
    if (!bootloader_record_prepared()) {
        printf("ERROR: Store the bootloader first!\n");
        return RESULT_NOT_STORED;
    }
    if (corrupt_update_administration() != 0) {
        return RESULT_PAGE32_NOT_ERASED;
    }
    return write_prepared_bootloader_record();
}
