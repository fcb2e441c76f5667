#include "tests/unit/ubi/fake_utilities.h"

#include "tests/support/fixture.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

constexpr const char* UTILITIES[] = {"ubidetach", "flash_eraseall", "ubiattach", "ubimkvol",
                                     "ubiupdatevol"};

} // namespace

fake_utilities::fake_utilities() : saved_path(getenv("PATH"))
{
    std::string script = fixture_path("fake_utility.sh");
    for (const char* name : UTILITIES) {
        EXPECT_EQ(0, symlink(script.c_str(), dir.path(name).c_str()));
    }
    setenv("FAKE_UTILITY_DIR", dir.root.c_str(), 1);
    setenv("PATH", (dir.root + ":" + saved_path).c_str(), 1);
}

fake_utilities::~fake_utilities()
{
    setenv("PATH", saved_path.c_str(), 1);
}

void fake_utilities::fail(const std::string& name, int status) const
{
    dir.write("fail-" + name, std::to_string(status));
}

std::string fake_utilities::log() const
{
    return read_file(dir.path("log"));
}

std::string fake_utilities::volume() const
{
    return read_file(dir.path("volume"));
}

std::string read_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}
