// SPDX-License-Identifier: MIT
#include "driver/sources.h"

#include "driver/image_file.h"
#include "driver/update.h"
#include "firmpack/extent.h"
#include "platform/mirel/mirel.h"

#include <cerrno>
#include <cstdio>

namespace {

// Every reader after this point trusts the total size in the firmpack's own
// header, so a file shorter than that is refused here, before any of it is read.
int check_firmpack_file(const uint8_t* fit, int32_t size, const char* display_name)
{
    if (firmpack_check_extent(fit, static_cast<uint32_t>(size)) != 0) {
        printf("file %s is corrupt, stopping upgrade\n", display_name);
        return EINVAL;
    }
    return 0;
}

int open_shm_firmpack(int which, const uint8_t** fit)
{
    void* start = nullptr;
    int result = mirel_sw_update_open_shm(which, &start);
    *fit = static_cast<const uint8_t*>(start);
    return result;
}

} // namespace

int update_from_files(const char* os_path, const char* app_path, uint32_t board_id)
{
    const uint8_t* os_fit = nullptr;
    const uint8_t* app_fit = nullptr;
    int32_t os_size = 0;
    int32_t app_size = 0;

    int result = map_image_file(os_path, &os_fit, &os_size);
    if (result != 0) {
        return result;
    }
    result = map_image_file(app_path, &app_fit, &app_size);
    if (result != 0) {
        return result;
    }
    result = check_firmpack_file(os_fit, os_size, os_path);
    if (result != 0) {
        return result;
    }
    result = check_firmpack_file(app_fit, app_size, app_path);
    if (result != 0) {
        return result;
    }
    return run_update(os_fit, app_fit, os_path, app_path, board_id);
}

int update_from_shm(uint32_t board_id)
{
    const uint8_t* os_fit = nullptr;
    const uint8_t* app_fit = nullptr;

    int result = open_shm_firmpack(MIREL_FIRMPACK_OS, &os_fit);
    if (result != 0) {
        return result;
    }
    result = open_shm_firmpack(MIREL_FIRMPACK_APP, &app_fit);
    if (result != 0) {
        return result;
    }
    return run_update(os_fit, app_fit, SHM_OS_DISPLAY_NAME, SHM_APP_DISPLAY_NAME, board_id);
}
