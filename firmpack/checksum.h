// CRC-32 of IEEE 802.3 (the gzip and FIT checksum), used for FIT hash records
// and the dataflash records.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// CRC-32 of data continuing from seed: 0 to start, or the result of an earlier
// call to chain consecutive ranges. A length of 0 returns the seed.
[[nodiscard]] uint32_t checksum_crc32(uint32_t seed, const uint8_t* data, uint32_t length);
