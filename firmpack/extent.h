// Firmpack extent: whether a buffer of known size holds all of the firmpack
// that its own header describes. Every reader after this check trusts the
// header's total size as the firmpack's extent.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// What libfdt reads of any buffer before it looks further: the magic and the
// total size.
inline constexpr uint32_t FIRMPACK_PROBE_SIZE = 8;

// 0 when a buffer of size bytes may be handed to the firmpack checks: it holds
// at least FIRMPACK_PROBE_SIZE bytes, and when it starts with the device-tree
// magic, a whole header and the total size that header claims. -1 otherwise.
[[nodiscard]] int firmpack_check_extent(const uint8_t* buffer, uint32_t size);

// The size of a buffer whose source vouches that it holds the whole firmpack
// its header describes, as the platform library does for its shared memory:
// any header's total size fits it.
inline constexpr uint32_t FIRMPACK_SIZE_AS_DECLARED = UINT32_MAX;
