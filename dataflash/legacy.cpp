// SPDX-License-Identifier: MIT
#include "dataflash/legacy.h"

#include "dataflash/layout.h"
#include "dataflash/result.h"
#include "dataflash/transfer.h"

#include <array>
#include <cstdio>

namespace {

constexpr uint8_t ERASED_BYTE = 0xFF;
// What the buffer holds before the read-back.
constexpr uint8_t CLEARED_BYTE = 0x00;

} // namespace

int install_legacy_firmpacks()
{
    printf("## Legacy Firmpacks detected, preparing for downgrade...\n");
    // The dataflash has no erase command here: erasing means writing 0xFF.
    std::array<uint8_t, ADMIN_AREA_SIZE> buffer;
    buffer.fill(ERASED_BYTE);
    if (dataflash_transfer(DATAFLASH_WRITE, buffer.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) !=
        0) {
        printf("ERROR: %s: Failed to erase to dataflash\n", __func__);
        return RESULT_TRANSFER_FAILED;
    }
    // Cleared first, so that bytes a short read leaves alone fail the check.
    buffer.fill(CLEARED_BYTE);
    if (dataflash_transfer(DATAFLASH_READ, buffer.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) !=
        0) {
        printf("ERROR: %s: Failed to read from dataflash\n", __func__);
        return RESULT_TRANSFER_FAILED;
    }
    for (uint8_t byte : buffer) {
        if (byte != ERASED_BYTE) {
            printf("ERROR: %s: Dataflash does not contain 0x%x after erasei\n", __func__,
                   ERASED_BYTE);
            return RESULT_NOT_ERASED;
        }
    }
    return 0;
}
