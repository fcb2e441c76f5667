// SPDX-License-Identifier: MIT
#include "firmpack/package.h"

#include "firmpack/fit.h"

package_gap firmpack_read_package(const uint8_t* fit, const char* name, firmpack_package* package)
{
    *package = {name, firmpack_image_node(fit, name), nullptr, 0, nullptr, nullptr};
    if (package->node < 0) {
        return PACKAGE_NO_IMAGE;
    }
    const bool has_data =
        firmpack_get_data(fit, package->node, &package->data, &package->size) == 0;
    const bool has_description =
        firmpack_get_description(fit, package->node, &package->description) == 0;
    const bool has_compression =
        firmpack_get_compression_name(fit, package->node, &package->compression) == 0;
    return !has_data          ? PACKAGE_NO_DATA
           : !has_description ? PACKAGE_NO_DESCRIPTION
           : !has_compression ? PACKAGE_NO_COMPRESSION
                              : PACKAGE_WHOLE;
}
