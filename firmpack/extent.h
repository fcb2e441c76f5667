// Firmpack extent and structure: the checks that let every later reader trust
// a tree's header and walk its nodes.
#pragma once

#include <cstdint>

// 0 when a buffer of size bytes may be handed to the tree accessors: it does
// not start with the device-tree magic (the accessors then reject it at the
// magic), or its header is complete and its total size fits in the buffer.
// -1 when a device-tree header claims more bytes than the buffer holds.
[[nodiscard]] int firmpack_check_extent(const uint8_t* buffer, uint32_t size);

// 0 when the buffer is not a device tree (the accessors reject it at the
// magic) or is a well-formed one within its own total size; -1 for a tree
// whose structure is damaged. A walk over a damaged structure ends early, so
// without this check images after the damage would go unverified.
[[nodiscard]] int firmpack_check_structure(const uint8_t* fit);
