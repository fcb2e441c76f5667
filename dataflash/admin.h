// Finishing an update in the update administrations that the board's boot
// loader reads: the Linux update administration (one slot per baseline) gets
// the updated baseline's record, the bootloader update administration (two
// alternating slots) the record that libsu_store_package prepared.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Copies the running baseline's Linux record into the updated baseline's slot
// with its sequence one higher. 0; 6 when the administration cannot be read
// or written; 29 when the running baseline's record is not valid; 22 when the
// baselines are not 1 and 2 in either order.
[[nodiscard]] int finalise_fs_update(int current_baseline, int updating_baseline,
                                     uint32_t board_id);

// Makes the bootloader record prepared by libsu_store_package the newest one.
// 0; 22 for a type other than 1 or before the administration was loaded by
// libsu_is_update_required; 1 when nothing was stored in this process;
// 19 when the page-32 administration could not be overwritten; -1 when a
// dataflash transfer failed.
[[nodiscard]] int libsu_make_update_persistent(int type);
