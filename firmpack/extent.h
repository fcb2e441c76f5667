// Firmpack extent: the check that lets every later reader trust a tree's header.
#pragma once

#include <cstdint>

// 0 when a buffer of size bytes may be handed to the tree accessors: it does
// not start with the device-tree magic (the accessors then reject it at the
// magic), or its header is complete and its total size fits in the buffer.
// -1 when a device-tree header claims more bytes than the buffer holds.
[[nodiscard]] int firmpack_check_extent(const uint8_t* buffer, uint32_t size);
