// SPDX-License-Identifier: MIT
#include "firmpack/sha1.h"

#include "firmpack/byte_order.h"
#include "firmpack/digest_blocks.h"

#include <cstddef>
#include <cstring>
#include <utility>

// Portable and byte-order independent: message words are assembled from bytes,
// so any alignment of the input is fine and the same code runs on 32-bit ARM.
// The 80 rounds are unrolled at compile time and the message schedule lives in
// a ring of 16 words, which keeps the working set in registers and L1.

namespace {

constexpr uint32_t INITIAL_STATE[5] = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
constexpr uint32_t ROUND_CONSTANTS[4] = {0x5A827999, 0x6ED9EBA1, 0x8F1BBCDC, 0xCA62C1D6};

[[gnu::always_inline]] inline uint32_t rotl(uint32_t x, int n)
{
    return (x << n) | (x >> (32 - n));
}

// Word t of the schedule: the first 16 come from the block, later ones replace
// the ring slot that held word t-16.
template <int T>
[[gnu::always_inline]] inline uint32_t schedule(uint32_t* ring, const uint8_t* block)
{
    if constexpr (T < 16) {
        ring[T] = get_be32(block + 4 * T);
    } else {
        ring[T & 15] =
            rotl(ring[(T + 13) & 15] ^ ring[(T + 8) & 15] ^ ring[(T + 2) & 15] ^ ring[T & 15], 1);
    }
    return ring[T & 15];
}

template <int T>
[[gnu::always_inline]] inline uint32_t round_function(uint32_t b, uint32_t c, uint32_t d)
{
    if constexpr (T < 20) {
        return d ^ (b & (c ^ d)); // choose
    } else if constexpr (T < 40 || T >= 60) {
        return b ^ c ^ d; // parity
    } else {
        return (b & c) + (d & (b ^ c)); // majority; the two terms share no bit
    }
}

// One round with the variables in their roles for round T; the caller rotates
// the roles instead of moving the values.
template <int T>
[[gnu::always_inline]] inline void sha1_round(uint32_t a, uint32_t& b, uint32_t c, uint32_t d,
                                              uint32_t& e, uint32_t* ring, const uint8_t* block)
{
    e += rotl(a, 5) + round_function<T>(b, c, d) + ROUND_CONSTANTS[T / 20] +
         schedule<T>(ring, block);
    b = rotl(b, 30);
}

template <int T>
[[gnu::always_inline]] inline void five_rounds(uint32_t& a, uint32_t& b, uint32_t& c, uint32_t& d,
                                               uint32_t& e, uint32_t* ring, const uint8_t* block)
{
    sha1_round<T>(a, b, c, d, e, ring, block);
    sha1_round<T + 1>(e, a, b, c, d, ring, block);
    sha1_round<T + 2>(d, e, a, b, c, ring, block);
    sha1_round<T + 3>(c, d, e, a, b, ring, block);
    sha1_round<T + 4>(b, c, d, e, a, ring, block);
}

template <std::size_t... Group>
[[gnu::always_inline]] inline void all_rounds(std::index_sequence<Group...>, uint32_t* v,
                                              uint32_t* ring, const uint8_t* block)
{
    (five_rounds<5 * static_cast<int>(Group)>(v[0], v[1], v[2], v[3], v[4], ring, block), ...);
}

} // namespace

// Compresses count whole blocks straight from where they lie.
void sha1_compress_blocks(uint32_t* state, const uint8_t* blocks, std::size_t count)
{
    for (; count > 0; --count, blocks += DIGEST_BLOCK_SIZE) {
        uint32_t ring[16];
        uint32_t v[5] = {state[0], state[1], state[2], state[3], state[4]};
        all_rounds(std::make_index_sequence<16>{}, v, ring, blocks);
        for (int i = 0; i < 5; ++i) {
            state[i] += v[i];
        }
    }
}

void sha1_init(sha1_context* context)
{
    context->byte_count[0] = 0;
    context->byte_count[1] = 0;
    memcpy(context->state, INITIAL_STATE, sizeof INITIAL_STATE);
}

void sha1_update(sha1_context* context, const uint8_t* data, uint32_t length)
{
    if (static_cast<int32_t>(length) <= 0) {
        return;
    }
    uint32_t used = context->byte_count[0] % DIGEST_BLOCK_SIZE;
    context->byte_count[0] += length;
    if (context->byte_count[0] < length) {
        ++context->byte_count[1];
    }
    digest_buffered(BLOCK_DIGEST_SHA1, context->state, context->block, used, data, length);
}

void sha1_final(sha1_context* context, uint8_t digest[SHA1_DIGEST_SIZE])
{
    // The message length in bits, big-endian.
    uint8_t length_field[DIGEST_LENGTH_FIELD_SIZE];
    put_be32(length_field, (context->byte_count[1] << 3) | (context->byte_count[0] >> 29));
    put_be32(length_field + 4, context->byte_count[0] << 3);
    digest_last_block(BLOCK_DIGEST_SHA1, context->state, context->block,
                      context->byte_count[0] % DIGEST_BLOCK_SIZE, length_field);
    for (int i = 0; i < 5; ++i) {
        put_be32(digest + 4 * i, context->state[i]);
    }
}

void digest_sha1(const uint8_t* data, uint32_t length, uint8_t digest[SHA1_DIGEST_SIZE])
{
    sha1_context context;
    sha1_init(&context);
    sha1_update(&context, data, length);
    sha1_final(&context, digest);
}
