#include "firmpack/extent.h"

#include <libfdt.h>

int firmpack_check_extent(const uint8_t* buffer, uint32_t size)
{
    if (size < sizeof(fdt32_t) || fdt_magic(buffer) != FDT_MAGIC) {
        return 0;
    }
    if (size < sizeof(struct fdt_header) || fdt_totalsize(buffer) > size) {
        return -1;
    }
    return 0;
}

int firmpack_check_structure(const uint8_t* fit)
{
    if (fdt_magic(fit) != FDT_MAGIC) {
        return 0;
    }
    return fdt_check_full(fit, fdt_totalsize(fit)) == 0 ? 0 : -1;
}
