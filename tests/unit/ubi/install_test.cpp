// SPDX-License-Identifier: MIT
#include "ubi/install.h"

#include "ubi/partition.h"

#include "tests/support/capture.h"
#include "tests/support/case_name.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

struct package_case {
    const char* name;
    const char* package;
    int expected_result;
    const char* expected_out;
    std::size_t partition_length = PARTITION_NAME_MAX;
};

class StoreFsInFlash : public testing::TestWithParam<package_case> {};

// No MTD device is named after the partition here, a name of the longest kind
// by default: a package that passes every check is announced and then stops at
// the lookup; a refused one stops before.
TEST_P(StoreFsInFlash, ChecksThePackageBeforeTheFlash)
{
    const package_case& c = GetParam();
    std::vector<uint8_t> fit = load_fixture("ubi_packages.fit");
    std::string partition(c.partition_length, 'p');
    captured_output output;
    int result = capture_output(&output, [&] {
        return store_fs_in_flash(fit.data(), c.package, partition.c_str(), "filesystem");
    });
    EXPECT_EQ(c.expected_result, result);
    EXPECT_EQ(c.expected_out, output.out);
}

const package_case PACKAGE_CASES[] = {
    {"Missing", "no-such-package", 19, "Can't find 'no-such-package' FIT subimage\n"},
    {"NoData", "no-data", 22, "Could not find script subimage data\n"},
    {"NoDescription", "no-description", 22, "No Description for package no-description\n"},
    {"NoCompression", "no-compression", 22, "no-compression: Cannot detect compression type\n"},
    {"Lzma", "lzma-package", 22, "store_fs_in_flash: Unsupported compression type:3\n"},
    {"UnknownName", "zstd-package", 22, "store_fs_in_flash: Unsupported compression type:255\n"},
    {"PlainPasses", "plain", 22,
     "   Preparing package  'plain         '... (filesystem 3.1.4)\n"
     "ERROR: No useable MTD partition found\n"},
    {"GzipPasses", "packed-applications", 22,
     "   Preparing package  'packed-applica'... (applications 7)\n"
     "ERROR: No useable MTD partition found\n"},
    {"NameTooLong", "plain", ENAMETOOLONG, "", PARTITION_NAME_MAX + 1},
};

INSTANTIATE_TEST_SUITE_P(Rows, StoreFsInFlash, testing::ValuesIn(PACKAGE_CASES), case_name());

} // namespace
