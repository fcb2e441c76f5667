// MD5 (RFC 1321), incremental and one-shot.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr uint32_t MD5_DIGEST_SIZE = 16;

struct md5_context {
    uint32_t state[4];
    uint32_t bit_count[2]; // message length in bits, low word first
    uint8_t block[64];     // a partial block waiting for more data
};

void md5_init(md5_context* context);
void md5_update(md5_context* context, const uint8_t* data, uint32_t length);
void md5_final(md5_context* context, uint8_t digest[MD5_DIGEST_SIZE]);
void digest_md5(const uint8_t* data, uint32_t length, uint8_t digest[MD5_DIGEST_SIZE]);
