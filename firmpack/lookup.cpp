#include "firmpack/lookup.h"

#include "firmpack/fit.h"

#include <cerrno>
#include <cstdio>
#include <libfdt.h>

int lookup_board_filesystem(const uint8_t* fit, const char** package_name, uint32_t board_id)
{
    int config = firmpack_board_config(fit, board_id);
    if (config < 0) {
        printf("Invalid firmpack for this board (Board 0x%4.4x not defined)\n", board_id);
        return EINVAL;
    }
    int image = firmpack_config_filesystem(fit, config);
    if (image < 0) {
        printf("Firmpack does not contain a 'filesystem =' definition\n");
        *package_name = nullptr;
        return EINVAL;
    }
    *package_name = fdt_get_name(fit, image, nullptr);
    return 0;
}

int lookup_package(const uint8_t* fit, const char* display_name, const char* package_name,
                   const char** description)
{
    int format = firmpack_get_format(fit);
    if (format != FIRMPACK_FORMAT_FIT) {
        printf("filetype of %s is not correct, found %i\n", display_name, format);
        return EFAULT;
    }
    if (firmpack_check_format(fit) == 0) {
        printf("%s: Bad FIT image format\n", display_name);
        return EFAULT;
    }
    int image = firmpack_image_node(fit, package_name);
    if (image < 0) {
        printf("%s: Can't find '%s' FIT subimage\n", display_name, package_name);
        return ENOENT;
    }
    if (firmpack_get_description(fit, image, description) != 0) {
        printf("%s: No Description\n", display_name);
        return EFAULT;
    }
    return 0;
}
