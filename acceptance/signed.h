// Signed firmpacks: a board that holds a key file installs only pairs whose
// board configurations are signed by one of its keys. Without a key file
// nothing here changes what the acceptance does.
// SPDX-License-Identifier: MIT
#pragma once

#include "acceptance/pair.h"

// Whether a key file stands at path (null: none is looked for). A pair is
// then judged as signed, whether or not the file turns out usable: hash
// records may be sha256, and the signatures must verify.
[[nodiscard]] bool key_file_present(const char* path);

// The signatures of the board's configuration in both firmpacks, against the
// keys of the pair's key file (read once per process and kept): one line per
// firmpack whose configuration verifies. 0, or 13 after one line naming the
// key file and why it cannot be used, or the firmpack, its configuration and
// why it is refused.
[[nodiscard]] int check_pair_signatures(const firmpack_pair* pair);
