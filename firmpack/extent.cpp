// SPDX-License-Identifier: MIT
#include "firmpack/extent.h"
#include "firmpack/result.h"

#include "firmpack/byte_order.h"
#include "firmpack/dtb_layout.h"

int firmpack_check_extent(const uint8_t* buffer, uint32_t size)
{
    if (size < FIRMPACK_PROBE_SIZE) {
        return FIRMPACK_DAMAGED;
    }
    if (get_be32(buffer + FDT_HEADER_MAGIC) != FDT_TREE_MAGIC) {
        return FIRMPACK_OK;
    }
    if (size < FDT_HEADER_SIZE || get_be32(buffer + FDT_HEADER_TOTALSIZE) > size) {
        return FIRMPACK_DAMAGED;
    }
    return FIRMPACK_OK;
}
