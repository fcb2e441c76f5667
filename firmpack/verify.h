// Firmpack integrity: every image's data against the hash records it carries.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr int HASH_MAX_SIZE = 20; // the longest digest, SHA-1

// Whether every image under "/images" passed its hash checks; the check stops
// at the first failure. Prints the progress report and the failure on
// standard output.
[[nodiscard]] bool firmpack_check_hashes(const uint8_t* fit);

// Whether the image passed; prints the reason when not.
[[nodiscard]] bool firmpack_check_image_hashes(const uint8_t* fit, int image);

// 0 and the digest of data by algorithm name ("crc32", "sha1", "md5") with its
// length; -1 for any other name, output untouched. With the status stream on,
// the data is digested in parts, each reported as progress.
[[nodiscard]] int firmpack_calc_hash(const uint8_t* data, uint32_t size, const char* algo,
                                     uint8_t output[HASH_MAX_SIZE], int* length);

// Whether firmpack_calc_hash computes the algorithm of that name.
[[nodiscard]] bool firmpack_hash_known(const char* algo);

// The bytes that the hash check of a firmpack digests: each image's data once
// per algorithm its records name. Only its progress report needs it.
[[nodiscard]] uint64_t firmpack_hash_bytes(const uint8_t* fit);
