// SPDX-License-Identifier: MIT
#include "firmpack/digest_blocks.h"

#include <cstring>

namespace {

constexpr uint32_t LAST_PADDING_OFFSET = DIGEST_BLOCK_SIZE - DIGEST_LENGTH_FIELD_SIZE;
constexpr uint8_t PADDING_START = 0x80;

void compress(block_digest digest, uint32_t* state, const uint8_t* blocks, std::size_t count)
{
    switch (digest) {
    case BLOCK_DIGEST_MD5:
        md5_compress_blocks(state, blocks, count);
        return;
    case BLOCK_DIGEST_SHA1:
        sha1_compress_blocks(state, blocks, count);
        return;
    }
}

} // namespace

void digest_buffered(block_digest digest, uint32_t* state, uint8_t* block, uint32_t used,
                     const uint8_t* data, uint32_t length)
{
    if (used != 0) {
        const uint32_t fill = DIGEST_BLOCK_SIZE - used;
        if (length < fill) {
            memcpy(block + used, data, length);
            return;
        }
        memcpy(block + used, data, fill);
        compress(digest, state, block, 1);
        data += fill;
        length -= fill;
    }
    compress(digest, state, data, length / DIGEST_BLOCK_SIZE);
    memcpy(block, data + (length - length % DIGEST_BLOCK_SIZE), length % DIGEST_BLOCK_SIZE);
}

void digest_last_block(block_digest digest, uint32_t* state, uint8_t* block, uint32_t used,
                       const uint8_t length_field[DIGEST_LENGTH_FIELD_SIZE])
{
    block[used++] = PADDING_START;
    if (used > LAST_PADDING_OFFSET) {
        memset(block + used, 0, DIGEST_BLOCK_SIZE - used);
        compress(digest, state, block, 1);
        used = 0;
    }
    memset(block + used, 0, LAST_PADDING_OFFSET - used);
    memcpy(block + LAST_PADDING_OFFSET, length_field, DIGEST_LENGTH_FIELD_SIZE);
    compress(digest, state, block, 1);
}
