#include "driver/sources.h"

#include "tests/support/capture.h"
#include "tests/support/temp_dir.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

// A device-tree header whose total size claims more bytes than the file holds.
std::string truncated_tree(uint32_t claimed_size, std::size_t actual_size)
{
    std::string bytes(actual_size, '\0');
    const unsigned char header[] = {0xd0,
                                    0x0d,
                                    0xfe,
                                    0xed,
                                    static_cast<unsigned char>(claimed_size >> 24),
                                    static_cast<unsigned char>(claimed_size >> 16),
                                    static_cast<unsigned char>(claimed_size >> 8),
                                    static_cast<unsigned char>(claimed_size)};
    bytes.replace(0, std::min(actual_size, sizeof header),
                  reinterpret_cast<const char*>(header), std::min(actual_size, sizeof header));
    return bytes;
}

int files(const std::string& os, const std::string& app, captured_output* output)
{
    return capture_output(output, [&] { return update_from_files(os.c_str(), app.c_str(), 0x105); });
}

TEST(FileSource, MissingOsFileStopsBeforeTheAppFile)
{
    temp_dir dir;
    captured_output output;
    int result = files(dir.path("os.img"), dir.path("app.img"), &output);
    EXPECT_EQ(2, result);
    EXPECT_EQ("Failed to open " + dir.path("os.img") + " : No such file or directory\n", output.err);
    EXPECT_EQ("", output.out);
}

TEST(FileSource, EmptyAppFileStopsBeforeTheUpdate)
{
    temp_dir dir;
    captured_output output;
    int result = files(dir.write("os.img", "not a firmpack"), dir.write("app.img", ""), &output);
    EXPECT_EQ(22, result);
    EXPECT_EQ("Bad size: \"" + dir.path("app.img") + "\" is not valid image\n", output.err);
    EXPECT_EQ("", output.out);
}

struct extent_case {
    const char* name;
    std::string os_bytes;
    std::string app_bytes;
    const char* corrupt; // display name in the message
};

TEST(FileSource, TreeShorterThanItsHeaderIsCorrupt)
{
    temp_dir dir;
    ASSERT_EQ(0, chdir(dir.root.c_str())); // display names stay as typed: relative
    const extent_case cases[] = {
        {"os_short", truncated_tree(4096, 100), truncated_tree(64, 64), "os.img"},
        {"app_short", truncated_tree(64, 64), truncated_tree(65, 64), "app.img"},
        {"header_cut", truncated_tree(6, 6), truncated_tree(64, 64), "os.img"},
        {"both_short", truncated_tree(4096, 100), truncated_tree(4096, 100), "os.img"},
    };
    for (const extent_case& c : cases) {
        dir.write("os.img", c.os_bytes);
        dir.write("app.img", c.app_bytes);
        captured_output output;
        EXPECT_EQ(22, files("os.img", "app.img", &output)) << c.name;
        EXPECT_EQ(std::string("file ") + c.corrupt + " is corrupt, stopping upgrade\n", output.out)
            << c.name;
        EXPECT_EQ("", output.err) << c.name;
    }
    ASSERT_EQ(0, chdir("/"));
}

} // namespace
