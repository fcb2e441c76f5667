// SHA-1 (FIPS 180), incremental and one-shot.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr uint32_t SHA1_DIGEST_SIZE = 20;

struct sha1_context {
    uint32_t byte_count[2]; // message length in bytes, low word first
    uint32_t state[5];
    uint8_t block[64]; // a partial block waiting for more data
};

void sha1_init(sha1_context* context);
// Does nothing when length, taken as a signed 32-bit number, is not positive.
void sha1_update(sha1_context* context, const uint8_t* data, uint32_t length);
void sha1_final(sha1_context* context, uint8_t digest[SHA1_DIGEST_SIZE]);
void digest_sha1(const uint8_t* data, uint32_t length, uint8_t digest[SHA1_DIGEST_SIZE]);
