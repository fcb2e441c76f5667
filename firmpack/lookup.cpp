// SPDX-License-Identifier: MIT
#include "firmpack/lookup.h"

#include "firmpack/fit.h"
#include "firmpack/result.h"

#include <cstdio>
#include <libfdt.h>

int lookup_board_filesystem(const uint8_t* fit, const char** package_name, uint32_t board_id)
{
    int config = firmpack_board_config(fit, board_id);
    if (config < 0) {
        printf("Invalid firmpack for this board (Board 0x%4.4x not defined)\n", board_id);
        return FIRMPACK_BOARD_NOT_DEFINED;
    }
    int image = firmpack_config_filesystem(fit, config);
    if (image < 0) {
        printf("Firmpack does not contain a 'filesystem =' definition\n");
        *package_name = nullptr;
        return FIRMPACK_BOARD_NOT_DEFINED;
    }
    *package_name = fdt_get_name(fit, image, nullptr);
    return 0;
}

int lookup_package(const uint8_t* fit, const char* display_name, const char* package_name,
                   firmpack_package* package)
{
    int format = firmpack_get_format(fit);
    if (format != FIRMPACK_FORMAT_FIT) {
        printf("filetype of %s is not correct, found %i\n", display_name, format);
        return FIRMPACK_NOT_A_FIT;
    }
    if (!firmpack_check_format(fit)) {
        printf("%s: Bad FIT image format\n", display_name);
        return FIRMPACK_NOT_A_FIT;
    }
    if (firmpack_read_package(fit, package_name, package) == PACKAGE_NO_IMAGE) {
        printf("%s: Can't find '%s' FIT subimage\n", display_name, package_name);
        return FIRMPACK_NO_SUBIMAGE;
    }
    if (package->description == nullptr) {
        printf("%s: No Description\n", display_name);
        return FIRMPACK_NOT_A_FIT;
    }
    return 0;
}
