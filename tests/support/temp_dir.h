// A fresh directory per test, removed with everything in it at the end.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>

struct temp_dir {
    temp_dir();
    ~temp_dir();
    temp_dir(const temp_dir&) = delete;
    temp_dir& operator=(const temp_dir&) = delete;

    std::string path(const std::string& name) const
    {
        return root + "/" + name;
    }
    // Writes a file of the given bytes and returns its path.
    std::string write(const std::string& name, const std::string& bytes) const;

    std::string root;
};
