// Firmpack structure: the check that makes a tree safe to hand to libfdt.
// libfdt's read functions trust the offsets and sizes in a tree's header and
// the lengths in its structure block, and some of its versions loop or read
// far past the tree on a damaged one. This check proves them true with bounds
// of its own, in one walk, whatever libfdt version is installed.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// 0 when fit is not a device tree at all (libfdt's lookups then stop at its
// magic) or is a well-formed tree of version 16 or 17 within the total size in
// its header: every block inside the tree and after the header (36 bytes in
// version 16, 40 in version 17), the memory-reservation map up to its all-zero
// entry inside the tree, the root node unnamed, every tag, node name and
// property inside the structure block, each step moving forward, every
// property inside a node and named inside the strings block, the nodes nested
// properly and closed by the end tag. -1 for anything else, and for a tree
// that libfdt's sequential-write functions are still writing.
[[nodiscard]] int firmpack_check_structure(const uint8_t* fit);
