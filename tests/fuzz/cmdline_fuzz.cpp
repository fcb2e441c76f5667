// Fuzz target: the search of the kernel command line for the tool's keys, over
// any text that the command-line cache can hold.
// SPDX-License-Identifier: MIT

#include "io/cmdline.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::size_t length = size < CMDLINE_SIZE - 1 ? size : CMDLINE_SIZE - 1;
    const std::string cmdline(reinterpret_cast<const char*>(data), length);
    static char value[CMDLINE_SIZE];
    for (const char* key : {"brd_id_io", "brd_id_core", "baseline"}) {
        cmdline_find_param(cmdline.c_str(), key, value);
    }
    return 0;
}
