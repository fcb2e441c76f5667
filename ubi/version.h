// Installed-version check: a filesystem package's description against the
// version file at the root of a filesystem.
#pragma once

#include <cstdint>

// Sets *update_required to 1 when the package differs from the filesystem (or
// the version file is missing, unreadable or empty) and to 0 when the
// filesystem carries exactly the package's version. verify is 0 for the check
// before installing, non-zero for the verification of a new volume; it only
// changes the messages. Always returns 0.
[[nodiscard]] int check_update_required(const char* description, const char* package_name,
                                        uint32_t* update_required, const char* version_file,
                                        const char* label, int verify);
