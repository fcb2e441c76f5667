// SPDX-License-Identifier: MIT
#include "firmpack/structure.h"
#include "firmpack/result.h"

#include "firmpack/byte_order.h"
#include "firmpack/dtb_layout.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace {

// libfdt takes offsets and lengths as ints.
constexpr uint32_t TREE_SIZE_MAX = INT32_MAX;

struct tree_blocks {
    const uint8_t* structure;
    uint32_t structure_size;
    const uint8_t* strings;
    uint32_t strings_size;
};

uint32_t header_field(const uint8_t* fit, uint32_t offset)
{
    return get_be32(fit + offset);
}

// The bytes that end the memory-reservation map.
constexpr std::array<uint8_t, FDT_RESERVATION_SIZE> RESERVATION_MAP_END{};

// Whether size bytes at offset lie after a header of header bytes and inside a
// tree of total bytes, without overflowing.
bool block_inside(uint32_t offset, uint32_t size, uint32_t header, uint32_t total)
{
    return offset >= header && offset <= total && size <= total - offset;
}

// Whether the memory-reservation map at offset reaches its terminating entry
// with every entry inside a tree of total bytes.
bool reservation_map_inside(const uint8_t* fit, uint32_t offset, uint32_t total)
{
    for (uint64_t entry = offset; entry + FDT_RESERVATION_SIZE <= total;
         entry += FDT_RESERVATION_SIZE) {
        if (memcmp(fit + entry, RESERVATION_MAP_END.data(), FDT_RESERVATION_SIZE) == 0) {
            return true;
        }
    }
    return false;
}

// Whether a NUL-terminated text starts at offset and ends inside the block.
bool text_inside(const uint8_t* block, uint32_t size, uint64_t offset)
{
    return offset < size && memchr(block + offset, '\0', size - offset) != nullptr;
}

uint64_t tag_aligned(uint64_t offset)
{
    return (offset + FDT_TAG_SIZE - 1) & ~uint64_t{FDT_TAG_SIZE - 1};
}

int check_header(const uint8_t* fit, tree_blocks* blocks)
{
    const uint32_t total = header_field(fit, FDT_HEADER_TOTALSIZE);
    const uint32_t version = header_field(fit, FDT_HEADER_VERSION);
    if ((version != FDT_VERSION_16 && version != FDT_VERSION_17) ||
        header_field(fit, FDT_HEADER_LAST_COMP_VERSION) > version) {
        return FIRMPACK_DAMAGED;
    }
    const uint32_t header = version == FDT_VERSION_17 ? FDT_HEADER_SIZE : FDT_HEADER_SIZE_V16;
    if (total < header || total > TREE_SIZE_MAX) {
        return FIRMPACK_DAMAGED;
    }
    const uint32_t reservations = header_field(fit, FDT_HEADER_OFF_MEM_RSVMAP);
    const uint32_t structure = header_field(fit, FDT_HEADER_OFF_DT_STRUCT);
    const uint32_t strings = header_field(fit, FDT_HEADER_OFF_DT_STRINGS);
    blocks->strings_size = header_field(fit, FDT_HEADER_SIZE_DT_STRINGS);
    blocks->structure_size = version == FDT_VERSION_17
                                 ? header_field(fit, FDT_HEADER_SIZE_DT_STRUCT)
                                 : total - (structure < total ? structure : total);
    if (!block_inside(reservations, 0, header, total) ||
        !reservation_map_inside(fit, reservations, total) ||
        !block_inside(structure, blocks->structure_size, header, total) ||
        structure % FDT_TAG_SIZE != 0 ||
        !block_inside(strings, blocks->strings_size, header, total)) {
        return FIRMPACK_DAMAGED;
    }
    blocks->structure = fit + structure;
    blocks->strings = fit + strings;
    return FIRMPACK_OK;
}

// Where the tag after a property starts, or 0 when the property does not lie
// inside a node and the structure block, or its name not in the strings block.
uint64_t skip_property(const tree_blocks& b, uint64_t value_header, int depth)
{
    if (depth == 0 || value_header + FDT_PROP_HEADER_SIZE > b.structure_size) {
        return 0;
    }
    const uint32_t length = get_be32(b.structure + value_header);
    const uint32_t name = get_be32(b.structure + value_header + FDT_TAG_SIZE);
    const uint64_t value = value_header + FDT_PROP_HEADER_SIZE;
    if (length > b.structure_size - value || !text_inside(b.strings, b.strings_size, name)) {
        return 0;
    }
    return tag_aligned(value + length);
}

// One pass over the structure block: the root node first, with an empty name,
// every step forward and inside the block, the nodes properly nested, and the
// end tag right after the root node (no-op tags aside).
int walk_structure(const tree_blocks& b)
{
    uint64_t offset = 0;
    int depth = 0;
    bool root_closed = false;
    while (offset + FDT_TAG_SIZE <= b.structure_size) {
        const uint32_t tag = get_be32(b.structure + offset);
        uint64_t next = offset + FDT_TAG_SIZE;
        if (offset == 0 && tag != FDT_TAG_BEGIN_NODE) {
            return FIRMPACK_DAMAGED;
        }
        switch (tag) {
        case FDT_TAG_BEGIN_NODE:
            if (root_closed || !text_inside(b.structure, b.structure_size, next) ||
                (depth == 0 && b.structure[next] != '\0')) {
                return FIRMPACK_DAMAGED;
            }
            next =
                tag_aligned(next + strlen(reinterpret_cast<const char*>(b.structure + next)) + 1);
            ++depth;
            break;
        case FDT_TAG_END_NODE:
            if (depth == 0) {
                return FIRMPACK_DAMAGED;
            }
            root_closed = --depth == 0;
            break;
        case FDT_TAG_PROP:
            next = skip_property(b, next, depth);
            if (next == 0) {
                return FIRMPACK_DAMAGED;
            }
            break;
        case FDT_TAG_NOP:
            break;
        case FDT_TAG_END:
            return root_closed ? FIRMPACK_OK : FIRMPACK_DAMAGED;
        default:
            return FIRMPACK_DAMAGED;
        }
        offset = next;
    }
    return FIRMPACK_DAMAGED;
}

} // namespace

int firmpack_check_structure(const uint8_t* fit)
{
    const uint32_t magic = header_field(fit, FDT_HEADER_MAGIC);
    if (magic == FDT_SEQUENTIAL_WRITE_MAGIC) {
        return FIRMPACK_DAMAGED;
    }
    if (magic != FDT_TREE_MAGIC) {
        return FIRMPACK_OK;
    }
    tree_blocks blocks{};
    if (check_header(fit, &blocks) != 0) {
        return FIRMPACK_DAMAGED;
    }
    return walk_structure(blocks);
}
