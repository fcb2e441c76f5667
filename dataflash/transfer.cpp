// SPDX-License-Identifier: MIT
#include "dataflash/transfer.h"

#include "dataflash/device.h"
#include "dataflash/layout.h"
#include "dataflash/result.h"

#include <cstdio>

int dataflash_transfer(int write, uint8_t* buffer, uint32_t offset, uint32_t length)
{
    // Only a warning: the device itself decides how much of the range it takes.
    if (static_cast<uint32_t>(offset + length) > DATAFLASH_SIZE) {
        printf("ERROR: Dataflash is smaller than requested size\n");
    }
    if (write != DATAFLASH_READ) {
        int result = dataflash_write(offset, buffer, length);
        if (result != 0) {
            printf("ERROR: Failed to write to dataflash (%i)\n", result);
            return DATAFLASH_TRANSFER_FAILED;
        }
        return 0;
    }
    int result = dataflash_read(offset, length, buffer);
    if (result != 0) {
        printf("ERROR: Failed to read from dataflash (%i)\n", result);
        return DATAFLASH_TRANSFER_FAILED;
    }
    return 0;
}

int write_admin_slot(uint32_t area_offset, int slot, uint8_t* slot_bytes)
{
    uint32_t offset = area_offset + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
    if (dataflash_transfer(DATAFLASH_WRITE, slot_bytes, offset, ADMIN_SLOT_SIZE) != 0) {
        return DATAFLASH_TRANSFER_FAILED;
    }
    return 0;
}
