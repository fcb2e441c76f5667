// The Linux update administration that the board's boot loader reads: one
// slot per baseline, each starting with a linux_admin_record. An update
// records its newly written baseline here; legacy firmpacks erase both slots,
// so that the boot loader performs the update itself.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Copies the running baseline's Linux record into the updated baseline's slot
// with its sequence one higher. 0; 6 when the administration cannot be read
// or written; 29 when the running baseline's record is not valid; 22 when the
// baselines are not 1 and 2 in either order.
[[nodiscard]] int finalise_fs_update(int current_baseline, int updating_baseline,
                                     uint32_t board_id);

// Erases both slots by writing erased bytes and reads them back. 0 when both
// read back erased; -1 when a transfer failed; 22 when another byte was read
// back.
[[nodiscard]] int install_legacy_firmpacks();
