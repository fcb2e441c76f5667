// The update sequence: from two firmpacks to an updated board.
// SPDX-License-Identifier: MIT
#pragma once

#include "acceptance/pair.h"

#include <cstdint>

// Takes the pair through its acceptance, then refuses it, hands it to the
// boot loader as legacy firmpacks, or installs what changed. 0 for a
// completed update or legacy preparation, -1 when nothing needs updating,
// otherwise the code of the first failure. Prints its own progress and errors.
[[nodiscard]] int run_update(const firmpack_input& os, const firmpack_input& app,
                             uint32_t board_id);
