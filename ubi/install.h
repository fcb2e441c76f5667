// Filesystem package installation: a package of a firmpack written into a
// fresh UBI volume and verified there.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Installs package package_name of fit into a fresh UBI volume on MTD
// partition partition_name ("none" packages straight from the firmpack,
// "gzip" packages through gunzip) and verifies it by mounting the volume and
// comparing its version file with the description, with label "filesystem" or
// "applications". 0 on success; 19 when the firmpack has no such package; 22
// for a package without data, description or a compression of none or gzip,
// when no partition has that name, or when the new volume holds another
// version; 36 when partition_name is longer than PARTITION_NAME_MAX; -1 when
// a sysfs name file did not close; otherwise a utility's non-zero result or a
// failing call's errno value. The package and the name are refused, if at
// all, before anything is touched.
[[nodiscard]] int store_fs_in_flash(const uint8_t* fit, const char* package_name,
                                    const char* partition_name, const char* label);
