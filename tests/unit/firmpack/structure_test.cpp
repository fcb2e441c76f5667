// The checks that stand between a hostile buffer and libfdt: each row damages
// one field of a good mkimage-built firmpack, or of the same firmpack laid out
// as a version-16 tree.
// SPDX-License-Identifier: MIT

#include "firmpack/byte_order.h"
#include "firmpack/dtb_layout.h"
#include "firmpack/extent.h"
#include "firmpack/structure.h"

#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <libfdt.h>

namespace {

struct damage {
    const char* name;
    uint32_t offset; // of the 32-bit field that is overwritten
    uint32_t value;
    int expected;
    bool version_16 = false; // in the firmpack rewritten as a version-16 tree
};

// The same tree as version 16 lays it out: the header without the
// structure-block size, the blocks right after it.
std::vector<uint8_t> as_version_16(const std::vector<uint8_t>& fit)
{
    const uint32_t dropped = FDT_HEADER_SIZE - FDT_HEADER_SIZE_V16;
    std::vector<uint8_t> tree = fit;
    tree.erase(tree.begin() + FDT_HEADER_SIZE_V16, tree.begin() + FDT_HEADER_SIZE);
    for (uint32_t field : {FDT_HEADER_TOTALSIZE, FDT_HEADER_OFF_MEM_RSVMAP,
                           FDT_HEADER_OFF_DT_STRUCT, FDT_HEADER_OFF_DT_STRINGS}) {
        put_be32(tree.data() + field, get_be32(tree.data() + field) - dropped);
    }
    put_be32(tree.data() + FDT_HEADER_VERSION, FDT_VERSION_16);
    return tree;
}

uint32_t offset_of(const std::vector<uint8_t>& fit, const void* field)
{
    return static_cast<uint32_t>(static_cast<const uint8_t*>(field) - fit.data());
}

TEST(FirmpackStructure, EveryDamagedFieldIsRefused)
{
    const std::vector<uint8_t> good = load_fixture("os_good.fit");
    const std::vector<uint8_t> good_16 = as_version_16(good);
    const uint8_t* fit = good.data();
    const uint32_t total = fdt_totalsize(fit);
    const uint32_t structure = fdt_off_dt_struct(fit);
    const uint32_t structure_end = structure + fdt_size_dt_struct(fit);
    const struct fdt_property* data =
        fdt_get_property(fit, fdt_path_offset(fit, "/images/rootfs@1"), "data", nullptr);
    ASSERT_NE(nullptr, data);
    const uint32_t length = offset_of(good, &data->len);
    const uint32_t name = offset_of(good, &data->nameoff);
    const uint32_t images = structure + static_cast<uint32_t>(fdt_path_offset(fit, "/images"));

    const damage rows[] = {
        {"good", FDT_HEADER_MAGIC, FDT_TREE_MAGIC, 0},
        {"not a tree: libfdt stops at the magic", FDT_HEADER_MAGIC, 0x12345678, 0},
        {"sequential-write magic", FDT_HEADER_MAGIC, FDT_SEQUENTIAL_WRITE_MAGIC, -1},
        {"version 16", FDT_HEADER_VERSION, 16, 0},
        {"version 2", FDT_HEADER_VERSION, 2, -1},
        {"version 15", FDT_HEADER_VERSION, 15, -1},
        {"version 18", FDT_HEADER_VERSION, 18, -1},
        {"compatible only from 18", FDT_HEADER_LAST_COMP_VERSION, 18, -1},
        {"total size below a header", FDT_HEADER_TOTALSIZE, FDT_HEADER_SIZE - 1, -1},
        {"total size negative as an int", FDT_HEADER_TOTALSIZE, 0x80000000, -1},
        {"reservation map past the end", FDT_HEADER_OFF_MEM_RSVMAP, total + 1, -1},
        {"reservation map without its end", FDT_HEADER_OFF_MEM_RSVMAP, total - 8, -1},
        // mkimage pads the tree with zeros: the last 16 bytes end a map.
        {"reservation map ending the tree", FDT_HEADER_OFF_MEM_RSVMAP, total - 16, 0},
        {"version 17, map at byte 36", FDT_HEADER_OFF_MEM_RSVMAP, FDT_HEADER_SIZE_V16, -1},
        {"version 16 right after its header", FDT_HEADER_VERSION, FDT_VERSION_16, 0, true},
        {"version 16, reservation map inside its header", FDT_HEADER_OFF_MEM_RSVMAP,
         FDT_HEADER_SIZE_V16 - 4, -1, true},
        {"structure inside the header", FDT_HEADER_OFF_DT_STRUCT, 8, -1},
        {"structure not tag-aligned", FDT_HEADER_OFF_DT_STRUCT, structure + 2, -1},
        {"structure size wraps", FDT_HEADER_SIZE_DT_STRUCT, 0xFFFFFFF0, -1},
        {"strings past the end", FDT_HEADER_OFF_DT_STRINGS, total, -1},
        {"strings size past the end", FDT_HEADER_SIZE_DT_STRINGS, total, -1},
        {"last property name cut", FDT_HEADER_SIZE_DT_STRINGS, fdt_size_dt_strings(fit) - 1, -1},
        {"structure ends in a node name", FDT_HEADER_SIZE_DT_STRUCT, images + 6 - structure, -1},
        {"property length -1", length, 0xFFFFFFFF, -1},
        {"property length -4", length, 0xFFFFFFFC, -1},
        {"property length -12", length, 0xFFFFFFF4, -1},
        {"property past the block", length, structure_end - length, -1},
        {"property name past the strings", name, fdt_size_dt_strings(fit), -1},
        {"unknown tag", images, 7, -1},
        {"root named \"fak\"", structure + FDT_TAG_SIZE, 0x66616b00, -1},
        {"root opened by a no-op", structure, FDT_TAG_NOP, -1},
        {"root never closed", structure_end - 8, FDT_TAG_NOP, -1},
        {"no end tag", structure_end - 4, FDT_TAG_NOP, -1},
        {"one node closed too many", structure_end - 4, FDT_TAG_END_NODE, -1},
        {"a second root", structure_end - 4, FDT_TAG_BEGIN_NODE, -1},
    };
    for (const damage& row : rows) {
        std::vector<uint8_t> damaged = row.version_16 ? good_16 : good;
        put_be32(damaged.data() + row.offset, row.value);
        EXPECT_EQ(row.expected, firmpack_check_structure(damaged.data())) << row.name;
    }
}

// A buffer too short for libfdt's first look, or shorter than its header says.
TEST(FirmpackExtent, BufferMustHoldWhatItsHeaderClaims)
{
    const std::vector<uint8_t> good = load_fixture("os_good.fit");
    const auto size = static_cast<uint32_t>(good.size());
    const std::vector<uint8_t> other(64, 0x5a);
    for (uint32_t cut = 1; cut < FIRMPACK_PROBE_SIZE; ++cut) {
        EXPECT_EQ(-1, firmpack_check_extent(other.data(), cut)) << cut;
    }
    EXPECT_EQ(0, firmpack_check_extent(other.data(), FIRMPACK_PROBE_SIZE));
    EXPECT_EQ(0, firmpack_check_extent(good.data(), size));
    EXPECT_EQ(-1, firmpack_check_extent(good.data(), size - 1));
    EXPECT_EQ(-1, firmpack_check_extent(good.data(), FDT_HEADER_SIZE - 1));
}

} // namespace
