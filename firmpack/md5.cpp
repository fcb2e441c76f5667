// SPDX-License-Identifier: MIT
#include "firmpack/md5.h"

#include "firmpack/byte_order.h"
#include "firmpack/digest_blocks.h"

#include <cstddef>
#include <cstring>
#include <utility>

// Portable and byte-order independent: message words are assembled from bytes,
// so any alignment of the input is fine and the same code runs on 32-bit ARM.
// The 64 steps are unrolled at compile time from the tables below.

namespace {

constexpr uint32_t INITIAL_STATE[4] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476};

// The additive constant of each step: the integer part of 2^32 * |sin(step + 1)|.
constexpr uint32_t STEP_CONSTANTS[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

// Left rotation of each step; it repeats every four steps within a round.
constexpr int ROTATIONS[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};

// The message word each step adds.
constexpr int message_index(int step)
{
    switch (step / 16) {
    case 0:
        return step;
    case 1:
        return (5 * step + 1) % 16;
    case 2:
        return (3 * step + 5) % 16;
    }
    return (7 * step) % 16;
}

[[gnu::always_inline]] inline uint32_t rotl(uint32_t x, int n)
{
    return (x << n) | (x >> (32 - n));
}

// The step's input, written so that the terms not depending on b are added
// first and the chain through b stays short.
template <int Step>
[[gnu::always_inline]] inline void md5_step(uint32_t& a, uint32_t b, uint32_t c, uint32_t d,
                                            const uint32_t* words)
{
    a += STEP_CONSTANTS[Step] + words[message_index(Step)];
    if constexpr (Step < 16) {
        a += d ^ (b & (c ^ d));
    } else if constexpr (Step < 32) {
        a += (c & ~d) + (b & d); // the two terms share no bit
    } else if constexpr (Step < 48) {
        a += b ^ c ^ d;
    } else {
        a += c ^ (b | ~d);
    }
    a = b + rotl(a, ROTATIONS[Step / 16][Step % 4]);
}

template <int Step>
[[gnu::always_inline]] inline void four_steps(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d,
                                              const uint32_t* words)
{
    md5_step<Step>(a, b, c, d, words);
    md5_step<Step + 1>(d, a, b, c, words);
    md5_step<Step + 2>(c, d, a, b, words);
    md5_step<Step + 3>(b, c, d, a, words);
}

template <std::size_t... Group>
[[gnu::always_inline]] inline void all_steps(std::index_sequence<Group...>, uint32_t* v,
                                             const uint32_t* words)
{
    (four_steps<4 * static_cast<int>(Group)>(v[0], v[1], v[2], v[3], words), ...);
}

} // namespace

// Compresses count whole blocks straight from where they lie.
void md5_compress_blocks(uint32_t* state, const uint8_t* blocks, std::size_t count)
{
    for (; count > 0; --count, blocks += DIGEST_BLOCK_SIZE) {
        uint32_t words[16];
        for (int i = 0; i < 16; ++i) {
            words[i] = get_le32(blocks + 4 * i);
        }
        uint32_t v[4] = {state[0], state[1], state[2], state[3]};
        all_steps(std::make_index_sequence<16>{}, v, words);
        for (int i = 0; i < 4; ++i) {
            state[i] += v[i];
        }
    }
}

void md5_init(md5_context* context)
{
    memcpy(context->state, INITIAL_STATE, sizeof INITIAL_STATE);
    context->bit_count[0] = 0;
    context->bit_count[1] = 0;
}

void md5_update(md5_context* context, const uint8_t* data, uint32_t length)
{
    if (length == 0) {
        return;
    }
    uint32_t used = (context->bit_count[0] >> 3) % DIGEST_BLOCK_SIZE;
    uint32_t added_bits = length << 3;
    context->bit_count[0] += added_bits;
    if (context->bit_count[0] < added_bits) {
        ++context->bit_count[1];
    }
    context->bit_count[1] += length >> 29;
    digest_buffered(BLOCK_DIGEST_MD5, context->state, context->block, used, data, length);
}

void md5_final(md5_context* context, uint8_t digest[MD5_DIGEST_SIZE])
{
    // The message length in bits, little-endian.
    uint8_t length_field[DIGEST_LENGTH_FIELD_SIZE];
    put_le32(length_field, context->bit_count[0]);
    put_le32(length_field + 4, context->bit_count[1]);
    digest_last_block(BLOCK_DIGEST_MD5, context->state, context->block,
                      (context->bit_count[0] >> 3) % DIGEST_BLOCK_SIZE, length_field);
    for (int i = 0; i < 4; ++i) {
        put_le32(digest + 4 * i, context->state[i]);
    }
}

void digest_md5(const uint8_t* data, uint32_t length, uint8_t digest[MD5_DIGEST_SIZE])
{
    md5_context context;
    md5_init(&context);
    md5_update(&context, data, length);
    md5_final(&context, digest);
}
