#include "tests/support/fixture.h"

#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

std::string fixture_path(const std::string& name)
{
    return std::string(FPU_FIXTURE_DIR) + "/" + name;
}

std::vector<uint8_t> load_fixture(const std::string& name)
{
    std::ifstream file(fixture_path(name), std::ios::binary);
    if (!file) {
        ADD_FAILURE() << "missing fixture " << fixture_path(name);
        return {};
    }
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), {});
}
