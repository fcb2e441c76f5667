// The update sequence: from two firmpacks to an updated board.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Verifies the pair, decides between refusing it, a legacy downgrade and an
// update, and installs what changed. 0 for a completed update or legacy
// preparation, -1 when nothing needs updating, otherwise the code of the first
// failure. Prints its own progress and errors.
[[nodiscard]] int run_update(const uint8_t* os_fit, const uint8_t* app_fit,
                             const char* os_display_name, const char* app_display_name,
                             uint32_t board_id);
