// SPDX-License-Identifier: MIT
#include "tests/support/test_cmdline.h"

#include "io/cmdline.h"

namespace {

std::string cmdline;

} // namespace

void set_test_cmdline(const std::string& words)
{
    cmdline = words;
}

int read_kernel_cmdline(char* buffer, std::size_t size)
{
    buffer[cmdline.copy(buffer, size - 1)] = '\0';
    return 0;
}
