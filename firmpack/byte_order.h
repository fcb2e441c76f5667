// Byte order: 32-bit loads and stores over bytes, for the device-tree fields
// (big-endian), the digests and the dataflash records. Assembled from single
// bytes, so no alignment of the bytes in memory is assumed.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

[[nodiscard]] constexpr uint32_t get_be32(const uint8_t* bytes)
{
    return (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) |
           uint32_t{bytes[3]};
}

[[nodiscard]] constexpr uint32_t get_le32(const uint8_t* bytes)
{
    return uint32_t{bytes[0]} | (uint32_t{bytes[1]} << 8) | (uint32_t{bytes[2]} << 16) |
           (uint32_t{bytes[3]} << 24);
}

constexpr void put_be32(uint8_t* bytes, uint32_t value)
{
    bytes[0] = static_cast<uint8_t>(value >> 24);
    bytes[1] = static_cast<uint8_t>(value >> 16);
    bytes[2] = static_cast<uint8_t>(value >> 8);
    bytes[3] = static_cast<uint8_t>(value);
}

constexpr void put_le32(uint8_t* bytes, uint32_t value)
{
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
    bytes[2] = static_cast<uint8_t>(value >> 16);
    bytes[3] = static_cast<uint8_t>(value >> 24);
}
