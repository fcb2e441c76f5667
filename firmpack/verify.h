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

// Whether every image under "/images" passed its hash checks with the
// algorithms of the set; the check stops at the first failure. Prints the
// progress report and the failure on standard output.
[[nodiscard]] bool firmpack_check_hashes(const uint8_t* fit, hash_set set = HASHES_UNSIGNED);

// Whether the image passed; prints the reason when not.
[[nodiscard]] bool firmpack_check_image_hashes(const uint8_t* fit, int image,
                                               hash_set set = HASHES_UNSIGNED);

// 0 and the digest of data by algorithm name with its length; -1 for a name
// not in the set, output untouched. With the status stream on, the data is
// digested in parts, each reported as progress.
[[nodiscard]] int firmpack_calc_hash(const uint8_t* data, uint32_t size, const char* algo,
                                     uint8_t output[HASH_MAX_SIZE], int* length,
                                     hash_set set = HASHES_UNSIGNED);

// Whether firmpack_calc_hash computes the algorithm of that name in the set.
[[nodiscard]] bool firmpack_hash_known(const char* algo, hash_set set = HASHES_UNSIGNED);

// The bytes that the hash check of a firmpack digests: each image's data once
// per algorithm of the set that its records name. Only its progress report
// needs it.
[[nodiscard]] uint64_t firmpack_hash_bytes(const uint8_t* fit, hash_set set = HASHES_UNSIGNED);
