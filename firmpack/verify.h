// Firmpack integrity: every image's data against the hash records it carries.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr int HASH_MAX_SIZE = 32; // the longest digest, SHA-256

// The hash algorithms computed: every board computes "crc32", "sha1" and
// "md5"; a board that verifies signatures also "sha256".
enum hash_set : int {
    HASHES_UNSIGNED,
    HASHES_SIGNED,
};

// 1 when every image under "/images" passed its hash checks, 0 at the first
// failure. Prints the progress report and the failure on standard output.
[[nodiscard]] int firmpack_check_hashes(const uint8_t* fit, hash_set set = HASHES_UNSIGNED);

// 1 when the image passed, 0 on failure after printing the reason.
[[nodiscard]] int firmpack_check_image_hashes(const uint8_t* fit, int image,
                                              hash_set set = HASHES_UNSIGNED);

// 0 and the digest of data by algorithm name with its length; -1 for a name
// not in the set, output untouched.
[[nodiscard]] int firmpack_calc_hash(const uint8_t* data, uint32_t size, const char* algo,
                                     uint8_t output[HASH_MAX_SIZE], int* length,
                                     hash_set set = HASHES_UNSIGNED);
