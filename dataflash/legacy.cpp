#include "dataflash/legacy.h"

#include "dataflash/device.h"
#include "dataflash/layout.h"

#include <array>
#include <cerrno>
#include <cstdio>

namespace {

constexpr uint8_t ERASED_BYTE = 0xFF;

} // namespace

int install_legacy_firmpacks()
{
    printf("## Legacy Firmpacks detected, preparing for downgrade...\n");
    // The dataflash has no erase command here: erasing means writing 0xFF.
    std::array<uint8_t, ADMIN_AREA_SIZE> buffer;
    buffer.fill(ERASED_BYTE);
    int result = dataflash_transfer(1, buffer.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE);
    if (result != 0) {
        printf("ERROR: %s: Failed to erase to dataflash\n", __func__);
        return result;
    }
    // Cleared first, so that bytes a short read leaves alone fail the check.
    buffer.fill(0x00);
    if (dataflash_transfer(0, buffer.data(), LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE) != 0) {
        printf("ERROR: %s: Failed to read from dataflash\n", __func__);
        return -1;
    }
    for (uint8_t byte : buffer) {
        if (byte != ERASED_BYTE) {
            printf("ERROR: %s: Dataflash does not contain 0x%x after erasei\n", __func__,
                   ERASED_BYTE);
            return EINVAL;
        }
    }
    return 0;
}
