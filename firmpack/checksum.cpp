// SPDX-License-Identifier: MIT
#include "firmpack/checksum.h"

#include "firmpack/byte_order.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

// The byte table of the reflected CRC-32 polynomial 0xEDB88320: entry n is
// the register after shifting byte n through eight steps. Computed by the
// compiler, so it is constant data.
constexpr std::array<uint32_t, 256> make_crc32_table()
{
    std::array<uint32_t, 256> table{};
    for (uint32_t n = 0; n < 256; ++n) {
        uint32_t reg = n;
        for (int step = 0; step < 8; ++step) {
            reg = (reg & 1) != 0 ? (reg >> 1) ^ 0xEDB88320u : reg >> 1;
        }
        table[n] = reg;
    }
    return table;
}

constexpr std::array<uint32_t, 256> crc32_table = make_crc32_table();
static_assert(crc32_table[1] == 0x77073096u);
static_assert(crc32_table[255] == 0x2D02EF8Du);

inline uint32_t crc32_byte(uint32_t reg, uint8_t byte)
{
    return crc32_table[(reg ^ byte) & 0xFF] ^ (reg >> 8);
}

inline uint32_t table_step(uint32_t reg)
{
    return crc32_table[reg & 0xFF] ^ (reg >> 8);
}

// count >= 1 whole aligned words: each is XORed into the register and followed
// by four table steps. The table loads form one long chain; the XOR of the next
// word is folded into the shifted half of the step before it, so that it is
// done while that step's table load is under way instead of after it.
uint32_t crc32_words(uint32_t reg, const uint8_t* words, uint32_t count)
{
    reg ^= get_le32(words);
    for (uint32_t i = 1; i < count; ++i) {
        reg = table_step(table_step(table_step(reg)));
        reg = crc32_table[reg & 0xFF] ^ ((reg >> 8) ^ get_le32(words + 4 * i));
    }
    return table_step(table_step(table_step(table_step(reg))));
}

} // namespace

uint32_t checksum_crc32(uint32_t seed, const uint8_t* data, uint32_t length)
{
    uint32_t reg = ~seed;
    while (length > 0 && (reinterpret_cast<std::uintptr_t>(data) & 3) != 0) {
        reg = crc32_byte(reg, *data++);
        --length;
    }
    if (length >= 4) {
        reg = crc32_words(reg, data, length / 4);
        data += length - length % 4;
        length %= 4;
    }
    while (length > 0) {
        reg = crc32_byte(reg, *data++);
        --length;
    }
    return ~reg;
}
