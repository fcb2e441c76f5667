// SPDX-License-Identifier: MIT
#include "driver/sources.h"

#include "driver/update.h"
#include "firmpack/extent.h"
#include "io/image_file.h"
#include "io/status.h"
#include "platform/mirel/mirel.h"

namespace {

int map_firmpack(const char* path, firmpack_input* firmpack)
{
    int32_t size = 0;
    int result = map_image_file(path, &firmpack->fit, &size);
    firmpack->size = static_cast<uint32_t>(size);
    firmpack->display_name = path;
    return result;
}

// The platform library hands out whole firmpacks: the extent is what each
// firmpack's header says.
int open_shm_firmpack(int which, const char* display_name, firmpack_input* firmpack)
{
    void* start = nullptr;
    int result = mirel_sw_update_open_shm(which, &start);
    *firmpack = {static_cast<const uint8_t*>(start), FIRMPACK_SIZE_AS_DECLARED, display_name};
    return result;
}

} // namespace

int update_from_files(const char* os_path, const char* app_path, uint32_t board_id)
{
    status_start(board_id, os_path, app_path);
    firmpack_input os{};
    firmpack_input app{};
    int result = map_firmpack(os_path, &os);
    if (result != 0) {
        return result;
    }
    result = map_firmpack(app_path, &app);
    if (result != 0) {
        return result;
    }
    return run_update(os, app, board_id);
}

int update_from_shm(uint32_t board_id)
{
    status_start(board_id, SHM_OS_DISPLAY_NAME, SHM_APP_DISPLAY_NAME);
    firmpack_input os{};
    firmpack_input app{};
    int result = open_shm_firmpack(MIREL_FIRMPACK_OS, SHM_OS_DISPLAY_NAME, &os);
    if (result != 0) {
        return result;
    }
    result = open_shm_firmpack(MIREL_FIRMPACK_APP, SHM_APP_DISPLAY_NAME, &app);
    if (result != 0) {
        return result;
    }
    return run_update(os, app, board_id);
}
