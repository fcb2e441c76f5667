// SPDX-License-Identifier: MIT
#include "dataflash/linux_admin.h"

#include "dataflash/layout.h"
#include "dataflash/records.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"
#include "firmpack/byte_order.h"

#include <array>
#include <cstdio>

namespace {

namespace record = linux_admin_record;

constexpr int FIRST_BASELINE = 1;
constexpr int LAST_BASELINE = 2;
// What the legacy erase's buffer holds before the read-back.
constexpr uint8_t CLEARED_BYTE = 0x00;

bool is_baseline(int baseline)
{
    return baseline == FIRST_BASELINE || baseline == LAST_BASELINE;
}

uint8_t* linux_slot(std::array<uint8_t, ADMIN_AREA_SIZE>& area, int baseline)
{
    return area.data() + ADMIN_SLOT_SIZE * static_cast<uint32_t>(baseline - FIRST_BASELINE);
}

} // namespace

int finalise_fs_update(int current_baseline, int updating_baseline, uint32_t board_id)
{
    if (!is_baseline(current_baseline) || !is_baseline(updating_baseline) ||
        current_baseline == updating_baseline) {
        printf("ERROR: %s: Invalid baselines %i, %i\n", __func__, current_baseline,
               updating_baseline);
        return DATAFLASH_REFUSED;
    }
    std::array<uint8_t, ADMIN_AREA_SIZE> area;
    if (dataflash_transfer(DATAFLASH_READ, area.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) != 0) {
        printf("ERROR: Failed to read update administration in DF!\n");
        return DATAFLASH_ADMIN_UNREACHABLE;
    }
    uint8_t* running = linux_slot(area, current_baseline);
    if (!linux_record_is_valid(running, board_id)) {
        printf("ERROR: Linux update administration in DF corrupt!\n");
        return DATAFLASH_ADMIN_CORRUPT;
    }
    // The updated baseline's slot becomes the running one's whole slot with
    // the next sequence number; the sequence wraps around like the counter it is.
    put_le32(running + record::SEQUENCE, get_le32(running + record::SEQUENCE) + 1);
    put_le32(running + record::VALID, RECORD_VALID);
    if (write_admin_slot(LINUX_ADMIN_OFFSET, updating_baseline - FIRST_BASELINE, running) != 0) {
        printf("ERROR: Failed to store update administration in DF!\n");
        return DATAFLASH_ADMIN_UNREACHABLE;
    }
    return 0;
}

int install_legacy_firmpacks()
{
    printf("## Legacy Firmpacks detected, preparing for downgrade...\n");
    std::array<uint8_t, ADMIN_AREA_SIZE> buffer;
    buffer.fill(ERASED_BYTE);
    if (dataflash_transfer(DATAFLASH_WRITE, buffer.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) !=
        0) {
        printf("ERROR: %s: Failed to erase to dataflash\n", __func__);
        return DATAFLASH_TRANSFER_FAILED;
    }
    // Cleared first, so that bytes a short read leaves alone fail the check.
    buffer.fill(CLEARED_BYTE);
    if (dataflash_transfer(DATAFLASH_READ, buffer.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) !=
        0) {
        printf("ERROR: %s: Failed to read from dataflash\n", __func__);
        return DATAFLASH_TRANSFER_FAILED;
    }
    for (uint8_t byte : buffer) {
        if (byte != ERASED_BYTE) {
            printf("ERROR: %s: Dataflash does not contain 0x%x after erasei\n", __func__,
                   ERASED_BYTE);
            return DATAFLASH_NOT_ERASED;
        }
    }
    return 0;
}
