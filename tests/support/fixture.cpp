// SPDX-License-Identifier: MIT
#include "tests/support/fixture.h"

#include <fstream>

#include <gtest/gtest.h>

std::string fixture_path(const std::string& name)
{
    return std::string(FPU_FIXTURE_DIR) + "/" + name;
}

std::vector<uint8_t> load_file(const std::string& path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        ADD_FAILURE() << "missing fixture " << path;
        return {};
    }
    std::vector<uint8_t> bytes(static_cast<std::size_t>(file.tellg()));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

std::vector<uint8_t> load_fixture(const std::string& name)
{
    return load_file(fixture_path(name));
}
