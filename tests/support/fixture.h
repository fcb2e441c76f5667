// Test firmpacks built into the build tree from tests/fixtures/.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

std::string fixture_path(const std::string& name);

// The whole file; an empty vector (and a test failure) when it cannot be read.
std::vector<uint8_t> load_file(const std::string& path);
std::vector<uint8_t> load_fixture(const std::string& name);
