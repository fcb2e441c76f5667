// SPDX-License-Identifier: MIT
#include "firmpack/fit.h"
#include "firmpack/verify.h"
#include "io/status.h"

#include "tests/support/capture.h"
#include "tests/support/fixture.h"
#include "tests/support/process.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <libfdt.h>
#include <string>
#include <vector>

namespace {

const char* const NO_DATA = "Can't get image data/size\n";

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

TEST(ImageHashes, EveryFailureOfAHashNode)
{
    struct image_case {
        const char* image;
        int result;
        const char* printed; // before the failure line
        const char* failure; // null: no failure line
        const char* hash_node;
    };
    const image_case cases[] = {
        {"good", 1, "crc32+ sha1+ md5+ ", nullptr, ""},
        {"no-hashes", 1, "", nullptr, ""},
        {"same-twice", 0, "crc32+ crc32+ crc32", " error!\nBad hash value", "hash@3"},
        {"fourth-algorithm", 0, "crc32+ sha1+ md5+ crc32+ sha256",
         " error!\nUnsupported hash algorithm", "hash@5"},
        {"empty-data", 1, "crc32+ ", nullptr, ""},
        {"no-data", 0, NO_DATA, nullptr, ""},
        {"no-data-no-hashes", 0, NO_DATA, nullptr, ""},
        {"crc32-little-endian", 0, "crc32", " error!\nBad hash value", "hash@1"},
        {"no-algo", 0, "", " error!\nCan't get hash algo property", "hash@1"},
        {"unterminated-algo", 0, "", " error!\nCan't get hash algo property", "hash@1"},
        {"no-value", 0, "crc32", " error!\nCan't get hash value property", "hash@1"},
        {"unknown-algo-no-value", 0, "sha256", " error!\nCan't get hash value property", "hash@1"},
        {"capital-algo", 0, "CRC32", " error!\nUnsupported hash algorithm", "hash@1"},
        {"crc32-eight-bytes", 0, "crc32", " error !\nBad hash value len", "hash@1"},
        {"second-fails", 0, "md5+ sha1", " error!\nBad hash value", "hash@2"},
        {"hashes-examined", 0, "md5", " error!\nBad hash value", "hashes"},
    };
    std::vector<uint8_t> fit = load_fixture("hash_faults.dtb");
    for (const image_case& c : cases) {
        int image = firmpack_image_node(fit.data(), c.image);
        ASSERT_GE(image, 0) << c.image;
        captured_output output;
        int result =
            capture_output(&output, [&] { return firmpack_check_image_hashes(fit.data(), image); });
        std::string expected = c.printed;
        if (c.failure != nullptr) {
            expected += std::string(c.failure) + " for '" + c.hash_node + "' hash node in '" +
                        c.image + "' image node\n";
        }
        EXPECT_EQ(c.result, result) << c.image;
        EXPECT_EQ(expected, output.out) << c.image;
    }
}

TEST(ImageHashes, Sha256InTheSignedSetOnly)
{
    struct set_case {
        const char* image;
        hash_set set;
        int result;
        const char* out;
    };
    const set_case cases[] = {
        {"sha256", HASHES_SIGNED, 1, "sha256+ "},
        {"sha256", HASHES_UNSIGNED, 0,
         "sha256 error!\nUnsupported hash algorithm for 'hash@1' hash node in 'sha256' image "
         "node\n"},
        {"fourth-algorithm", HASHES_SIGNED, 0,
         "crc32+ sha1+ md5+ crc32+ sha256 error !\nBad hash value len for 'hash@5' hash node in "
         "'fourth-algorithm' image node\n"},
    };
    std::vector<uint8_t> fit = load_fixture("hash_faults.dtb");
    for (const set_case& c : cases) {
        captured_output output;
        int result = capture_output(&output, [&] {
            return firmpack_check_image_hashes(fit.data(), firmpack_image_node(fit.data(), c.image),
                                               c.set);
        });
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

// The hashing phase counts each image once per algorithm its hash records
// name, and the check moves all of those bytes.
TEST(FirmpackHashes, StreamCountsEachImageOncePerAlgorithm)
{
    std::vector<uint8_t> fit = load_fixture("os_good.fit");
    uint64_t expected = 0;
    for (const char* image : {"bootloader@1", "bootloader@1", "rootfs@1", "fdt@1"}) {
        const uint8_t* data = nullptr;
        uint32_t size = 0;
        ASSERT_EQ(
            0, firmpack_get_data(fit.data(), firmpack_image_node(fit.data(), image), &data, &size));
        expected += size;
    }
    ASSERT_EQ(expected, firmpack_hash_bytes(fit.data()));
    const std::string lines = status_stream_of([&] {
        status_begin(PHASE_HASHES, "os", expected);
        EXPECT_EQ(1, check_hashes(fit).result);
        status_end();
    });
    const std::string all = std::to_string(expected);
    EXPECT_NE(std::string::npos,
              lines.find("\"done\":" + all + ",\"total\":" + all + ",\"state\":\"end\""))
        << lines;
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

TEST(FirmpackHashes, DamagedOrMissingImages)
{
    std::vector<uint8_t> no_images = load_fixture("os_good.fit");
    ASSERT_EQ(0, fdt_nop_node(no_images.data(), fdt_path_offset(no_images.data(), "/images")));
    std::vector<uint8_t> not_a_tree(4096, 0x5A);
    std::vector<uint8_t> empty = load_fixture("empty_images.dtb");

    struct damage_case {
        const std::vector<uint8_t>* fit;
        int result;
        std::string out;
    };
    const damage_case cases[] = {
        {&no_images, 0, "Can't find images parent node '/images' (FDT_ERR_NOTFOUND)\n"},
        {&not_a_tree, 0, "Can't find images parent node '/images' (FDT_ERR_BADMAGIC)\n"},
        {&empty, 1, progress_line(empty)},
    };
    for (const damage_case& c : cases) {
        walk_result walk = check_hashes(*c.fit);
        EXPECT_EQ(c.result, walk.result) << c.out;
        EXPECT_EQ(c.out, walk.out);
    }
}

} // namespace
