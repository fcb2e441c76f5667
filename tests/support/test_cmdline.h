// A kernel command line of the test's choosing in place of /proc/cmdline
// (read_kernel_cmdline): link fpu_test_cmdline instead of fpu_kernel_cmdline.
// The lookups read it once per process, so set it in a fresh process
// (in_fresh_process) before the code under test looks anything up.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

void set_test_cmdline(const std::string& words);
