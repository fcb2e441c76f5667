// The flattened device-tree blob as stored: header field offsets, magics and
// structure-block tags, every field a big-endian 32-bit number.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr uint32_t FDT_TREE_MAGIC = 0xd00dfeed;
// A tree still being written by libfdt's sequential-write functions, whose
// header libfdt's read functions trust as well.
inline constexpr uint32_t FDT_SEQUENTIAL_WRITE_MAGIC = 0x2ff20112;

inline constexpr uint32_t FDT_HEADER_MAGIC = 0;
inline constexpr uint32_t FDT_HEADER_TOTALSIZE = 4;
inline constexpr uint32_t FDT_HEADER_OFF_DT_STRUCT = 8;
inline constexpr uint32_t FDT_HEADER_OFF_DT_STRINGS = 12;
inline constexpr uint32_t FDT_HEADER_OFF_MEM_RSVMAP = 16;
inline constexpr uint32_t FDT_HEADER_VERSION = 20;
inline constexpr uint32_t FDT_HEADER_LAST_COMP_VERSION = 24;
inline constexpr uint32_t FDT_HEADER_SIZE_DT_STRINGS = 32;
inline constexpr uint32_t FDT_HEADER_SIZE_DT_STRUCT = 36; // from version 17 on
inline constexpr uint32_t FDT_HEADER_SIZE = 40;           // as version 17 has it
// Version 16's header ends before the structure-block size; its first block
// may start right after it.
inline constexpr uint32_t FDT_HEADER_SIZE_V16 = FDT_HEADER_SIZE_DT_STRUCT;

// The versions that dtc and mkimage write. Version 16 has no structure-block
// size: its block runs to the end of the tree.
inline constexpr uint32_t FDT_VERSION_16 = 16;
inline constexpr uint32_t FDT_VERSION_17 = 17;

// The memory-reservation map: entries of a big-endian 64-bit address and size,
// up to an entry whose address and size are both 0.
inline constexpr uint32_t FDT_RESERVATION_SIZE = 16;

inline constexpr uint32_t FDT_TAG_BEGIN_NODE = 1; // then the NUL-terminated node name
inline constexpr uint32_t FDT_TAG_END_NODE = 2;
inline constexpr uint32_t FDT_TAG_PROP = 3; // then value length, name offset, value
inline constexpr uint32_t FDT_TAG_NOP = 4;
inline constexpr uint32_t FDT_TAG_END = 9;
inline constexpr uint32_t FDT_TAG_SIZE = 4; // tags start on 4-byte boundaries
inline constexpr uint32_t FDT_PROP_HEADER_SIZE = 8;
