// A package of a firmpack (an image under "/images") as it lies in the
// firmpack: its node, data, description and compression, read in one place.
// Nothing is copied and nothing is printed: each caller reports a missing part
// in its own words.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

struct firmpack_package {
    const char* name;    // the name it was looked up by
    int node;            // its image node, negative when there is none
    const uint8_t* data; // "data", null (and size 0) when missing
    uint32_t size;
    const char* description; // "description", null when missing
    const char* compression; // the "compression" name, null when missing
};

// The first part a package lacks, in the order the installation needs them.
enum package_gap : int {
    PACKAGE_WHOLE,
    PACKAGE_NO_IMAGE,
    PACKAGE_NO_DATA,
    PACKAGE_NO_DESCRIPTION,
    PACKAGE_NO_COMPRESSION,
};

// Reads every part of package name that is there into *package.
[[nodiscard]] package_gap firmpack_read_package(const uint8_t* fit, const char* name,
                                                firmpack_package* package);
