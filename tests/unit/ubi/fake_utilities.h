// Stand-ins for the MTD and UBI utilities, first on PATH while the object
// lives: each records its command line, prints "<name> out" on standard output
// and "<name> err" on standard error, and exits 0 unless told otherwise.
#pragma once

#include "tests/support/temp_dir.h"

#include <string>

struct fake_utilities {
    fake_utilities();
    ~fake_utilities();

    // Makes utility name exit with status from now on.
    void fail(const std::string& name, int status) const;
    // The command lines run so far, one per line.
    std::string log() const;
    // What ubiupdatevol was given to write.
    std::string volume() const;

    temp_dir dir;
    std::string saved_path;
};

std::string read_file(const std::string& path);
