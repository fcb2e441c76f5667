#include "firmpack/extent.h"

#include "firmpack/byte_order.h"
#include "firmpack/dtb_layout.h"

int firmpack_check_extent(const uint8_t* buffer, uint32_t size)
{
    if (size < FIRMPACK_PROBE_SIZE) {
        return -1;
    }
    if (get_be32(buffer + FDT_HEADER_MAGIC) != FDT_TREE_MAGIC) {
        return 0;
    }
    if (size < FDT_HEADER_SIZE || get_be32(buffer + FDT_HEADER_TOTALSIZE) > size) {
        return -1;
    }
    return 0;
}
