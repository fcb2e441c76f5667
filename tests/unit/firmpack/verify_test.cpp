#include "firmpack/extent.h"
#include "firmpack/fit.h"
#include "firmpack/verify.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <libfdt.h>
#include <string>
#include <vector>

namespace {

struct walk_result {
    int result;
    std::string out;
};

walk_result check_hashes(const std::vector<uint8_t>& fit)
{
    captured_output output;
    int result = capture_output(&output, [&] { return firmpack_check_hashes(fit.data()); });
    EXPECT_EQ("", output.err);
    return {result, output.out};
}

std::string progress_line(const std::vector<uint8_t>& fit)
{
    char line[80];
    snprintf(line, sizeof line, "## Checking hash(es) for FIT Image at %08lx ...\n",
             reinterpret_cast<unsigned long>(fit.data()));
    return line;
}

TEST(CalcHash, DigestsByExactName)
{
    struct calc_case {
        const char* algo;
        int result;
        std::vector<uint8_t> digest;
    };
    const calc_case cases[] = {
        {"crc32", 0, {0x35, 0x24, 0x41, 0xc2}},
        {"md5",
         0,
         {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0, 0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f,
          0x72}},
        {"sha1", 0, {0xa9, 0x99, 0x3e, 0x36, 0x47, 0x06, 0x81, 0x6a, 0xba, 0x3e,
                     0x25, 0x71, 0x78, 0x50, 0xc2, 0x6c, 0x9c, 0xd0, 0xd8, 0x9d}},
        {"CRC32", -1, {}},
        {"sha256", -1, {}},
        {"", -1, {}},
    };
    for (const calc_case& c : cases) {
        uint8_t output[HASH_MAX_SIZE];
        memset(output, 0xAA, sizeof output);
        int length = -7;
        EXPECT_EQ(c.result, firmpack_calc_hash(reinterpret_cast<const uint8_t*>("abc"), 3, c.algo,
                                               output, &length))
            << c.algo;
        std::vector<uint8_t> expected = c.digest;
        if (c.result != 0) {
            expected.assign(HASH_MAX_SIZE, 0xAA); // untouched
            length = HASH_MAX_SIZE;
        }
        EXPECT_EQ(expected, std::vector<uint8_t>(output, output + length)) << c.algo;
    }
}

TEST(ImageHashes, EveryFailureOfAHashNode)
{
    struct image_case {
        const char* image;
        int result;
        const char* out;
    };
    const image_case cases[] = {
        {"good", 1, "crc32+ sha1+ md5+ "},
        {"no-hashes", 1, ""},
        {"empty-data", 1, "crc32+ "},
        {"crc32-little-endian", 0,
         "crc32 error!\nBad hash value for 'hash@1' hash node in 'crc32-little-endian' image "
         "node\n"},
        {"no-data", 0, "Can't get image data/size\n"},
        {"no-data-no-hashes", 0, "Can't get image data/size\n"},
        {"no-algo", 0,
         " error!\nCan't get hash algo property for 'hash@1' hash node in 'no-algo' image node\n"},
        {"unterminated-algo", 0,
         " error!\nCan't get hash algo property for 'hash@1' hash node in 'unterminated-algo' "
         "image node\n"},
        {"no-value", 0,
         "crc32 error!\nCan't get hash value property for 'hash@1' hash node in 'no-value' image "
         "node\n"},
        {"unknown-algo-no-value", 0,
         "sha256 error!\nCan't get hash value property for 'hash@1' hash node in "
         "'unknown-algo-no-value' image node\n"},
        {"capital-algo", 0,
         "CRC32 error!\nUnsupported hash algorithm for 'hash@1' hash node in 'capital-algo' image "
         "node\n"},
        {"crc32-eight-bytes", 0,
         "crc32 error !\nBad hash value len for 'hash@1' hash node in 'crc32-eight-bytes' image "
         "node\n"},
        {"second-fails", 0,
         "md5+ sha1 error!\nBad hash value for 'hash@2' hash node in 'second-fails' image node\n"},
        {"hashes-examined", 0,
         "md5 error!\nBad hash value for 'hashes' hash node in 'hashes-examined' image node\n"},
    };
    std::vector<uint8_t> fit = load_fixture("hash_faults.dtb");
    for (const image_case& c : cases) {
        int image = firmpack_image_node(fit.data(), c.image);
        ASSERT_GE(image, 0) << c.image;
        captured_output output;
        int result =
            capture_output(&output, [&] { return firmpack_check_image_hashes(fit.data(), image); });
        EXPECT_EQ(c.result, result) << c.image;
        EXPECT_EQ(c.out, output.out) << c.image;
    }
}

TEST(FirmpackHashes, GoodMkimageFirmpackLineForLine)
{
    std::vector<uint8_t> fit = load_fixture("os_good.fit");
    walk_result walk = check_hashes(fit);
    EXPECT_EQ(1, walk.result);
    EXPECT_EQ(progress_line(fit) + "   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ \n"
                                   "   Hash(es) for Image 1 (rootfs@1): md5+ \n"
                                   "   Hash(es) for Image 2 (fdt@1): crc32+ \n",
              walk.out);
}

TEST(FirmpackHashes, StopsAtTheFirstFailingImage)
{
    std::vector<uint8_t> fit = load_fixture("hash_faults.dtb");
    walk_result walk = check_hashes(fit);
    EXPECT_EQ(0, walk.result);
    EXPECT_EQ(progress_line(fit) +
                  "   Hash(es) for Image 0 (good): crc32+ sha1+ md5+ \n"
                  "   Hash(es) for Image 1 (no-hashes): \n"
                  "   Hash(es) for Image 2 (empty-data): crc32+ \n"
                  "   Hash(es) for Image 3 (crc32-little-endian): crc32 error!\n"
                  "Bad hash value for 'hash@1' hash node in 'crc32-little-endian' image node\n",
              walk.out);
}

TEST(FirmpackHashes, DamagedFirmpacks)
{
    std::vector<uint8_t> good = load_fixture("os_good.fit");

    std::vector<uint8_t> flipped = good;
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    int bootloader = firmpack_image_node(flipped.data(), "bootloader");
    ASSERT_EQ(0, firmpack_get_data(flipped.data(), bootloader, &data, &size));
    flipped[static_cast<std::size_t>(data - flipped.data()) + size / 2] ^= 0x01;
    walk_result walk = check_hashes(flipped);
    EXPECT_EQ(0, walk.result);
    EXPECT_EQ(progress_line(flipped) +
                  "   Hash(es) for Image 0 (bootloader@1): crc32 error!\n"
                  "Bad hash value for 'hash@1' hash node in 'bootloader@1' image node\n",
              walk.out);

    // A data length reaching past the tree is not believed.
    std::vector<uint8_t> overlong = good;
    int rootfs = firmpack_image_node(overlong.data(), "rootfs");
    struct fdt_property* property = fdt_get_property_w(overlong.data(), rootfs, "data", nullptr);
    ASSERT_NE(nullptr, property);
    property->len = cpu_to_fdt32(0x7FFFFFF0);
    walk = check_hashes(overlong);
    EXPECT_EQ(0, walk.result);
    EXPECT_EQ(progress_line(overlong) +
                  "   Hash(es) for Image 0 (bootloader@1): crc32+ sha1+ \n"
                  "   Hash(es) for Image 1 (rootfs@1): Can't get image data/size\n",
              walk.out);

    std::vector<uint8_t> no_images = good;
    ASSERT_EQ(0, fdt_nop_node(no_images.data(), fdt_path_offset(no_images.data(), "/images")));
    walk = check_hashes(no_images);
    EXPECT_EQ(0, walk.result);
    EXPECT_EQ("Can't find images parent node '/images' (FDT_ERR_NOTFOUND)\n", walk.out);

    std::vector<uint8_t> not_a_tree(4096, 0x5A);
    walk = check_hashes(not_a_tree);
    EXPECT_EQ(0, walk.result);
    EXPECT_EQ("Can't find images parent node '/images' (FDT_ERR_BADMAGIC)\n", walk.out);

    std::vector<uint8_t> empty = load_fixture("empty_images.dtb");
    walk = check_hashes(empty);
    EXPECT_EQ(1, walk.result);
    EXPECT_EQ(progress_line(empty), walk.out);
}

// A firmpack cut short is refused by its extent. One whose header size was cut
// to match is read only within it: the property names, stored behind the
// nodes, are gone, so the first image has no data.
TEST(FirmpackHashes, TruncatedFirmpackIsNeverReadPastItsEnd)
{
    std::vector<uint8_t> fit = load_fixture("os_good.fit");
    const uint32_t half = static_cast<uint32_t>(fit.size() / 2);
    EXPECT_EQ(0, firmpack_check_extent(fit.data(), static_cast<uint32_t>(fit.size())));
    EXPECT_EQ(-1, firmpack_check_extent(fit.data(), half));

    std::vector<uint8_t> cut(fit.begin(), fit.begin() + half);
    fdt_set_totalsize(cut.data(), half);
    ASSERT_EQ(0, firmpack_check_extent(cut.data(), half));
    walk_result walk = check_hashes(cut);
    EXPECT_EQ(0, walk.result);
    EXPECT_EQ(progress_line(cut) +
                  "   Hash(es) for Image 0 (bootloader@1): Can't get image data/size\n",
              walk.out);
}

} // namespace
