#include "driver/update.h"

#include <cerrno>
#include <cstdio>

int run_update(const uint8_t* os_fit, const uint8_t* app_fit, const char* os_display_name,
               const char* app_display_name, uint32_t board_id)
{
    (void)os_fit;
    (void)app_fit;
    printf("## Received OS firmpack %s and APP firmpack %s for board 0x%4.4x\n", os_display_name,
           app_display_name, board_id);
    printf("ERROR: the update sequence is not built yet\n");
    return ENOSYS;
}
