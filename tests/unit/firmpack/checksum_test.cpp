// SPDX-License-Identifier: MIT
#include "firmpack/checksum.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>
#include <zlib.h>

namespace {

// Bytes that exercise every table entry, at a known offset from an 8-byte
// boundary so that each alignment of the data pointer can be chosen.
std::vector<uint8_t> pattern(std::size_t size)
{
    std::vector<uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 167 + 13);
    }
    return bytes;
}

uint32_t zlib_crc(const uint8_t* data, std::size_t length)
{
    return static_cast<uint32_t>(crc32(0, data, static_cast<uInt>(length)));
}

TEST(Crc32, CheckValueAndEmptyRange)
{
    const auto* digits = reinterpret_cast<const uint8_t*>("123456789");
    EXPECT_EQ(0xCBF43926u, checksum_crc32(0, digits, 9));
    for (uint32_t seed : {0u, 1u, 0xCBF43926u, 0xFFFFFFFFu}) {
        EXPECT_EQ(seed, checksum_crc32(seed, digits, 0));
    }
}

// Every length at every alignment crosses the head, word and tail loops in
// each combination; every split point checks that chaining resumes exactly.
TEST(Crc32, MatchesZlibAtEveryAlignmentAndSplit)
{
    constexpr std::size_t length = 70;
    std::vector<uint8_t> buffer = pattern(length + 8);
    for (std::size_t align = 0; align < 8; ++align) {
        const uint8_t* data = buffer.data() + align;
        for (std::size_t size = 0; size <= length; ++size) {
            ASSERT_EQ(zlib_crc(data, size), checksum_crc32(0, data, static_cast<uint32_t>(size)))
                << "alignment " << align << " length " << size;
        }
        uint32_t whole = zlib_crc(data, length);
        for (uint32_t split = 0; split <= length; ++split) {
            uint32_t head = checksum_crc32(0, data, split);
            ASSERT_EQ(whole, checksum_crc32(head, data + split, length - split))
                << "alignment " << align << " split " << split;
        }
    }
}

} // namespace
