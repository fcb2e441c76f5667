// Block buffering of the 64-byte-block digests, MD5 and SHA-1: whole blocks are
// digested where they lie, a partial block waits in the digest's context, and
// the last block is padded with the message length.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr uint32_t DIGEST_BLOCK_SIZE = 64;
// The message length closes the last block.
inline constexpr uint32_t DIGEST_LENGTH_FIELD_SIZE = 8;

enum block_digest : int {
    BLOCK_DIGEST_MD5,
    BLOCK_DIGEST_SHA1,
};

// Each digest's compression of count whole blocks into its state.
void md5_compress_blocks(uint32_t* state, const uint8_t* blocks, std::size_t count);
void sha1_compress_blocks(uint32_t* state, const uint8_t* blocks, std::size_t count);

// Digests length bytes of data that follow the used bytes waiting in block:
// the block is completed first, then whole blocks are taken from data, and
// what is left waits in block.
void digest_buffered(block_digest digest, uint32_t* state, uint8_t* block, uint32_t used,
                     const uint8_t* data, uint32_t length);

// Pads the used bytes waiting in block with 0x80 and zeros, closes the last
// block with the message length as the digest encodes it, and digests it.
void digest_last_block(block_digest digest, uint32_t* state, uint8_t* block, uint32_t used,
                       const uint8_t length_field[DIGEST_LENGTH_FIELD_SIZE]);
