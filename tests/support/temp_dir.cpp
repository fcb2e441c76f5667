// SPDX-License-Identifier: MIT
#include "tests/support/temp_dir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

temp_dir::temp_dir()
{
    char pattern[] = "/tmp/fpu-test-XXXXXX";
    root = mkdtemp(pattern);
}

temp_dir::~temp_dir()
{
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

std::string temp_dir::write(const std::string& name, const std::string& bytes) const
{
    std::string file = path(name);
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
}
