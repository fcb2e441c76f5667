// Package extraction and volume write.
#pragma once

#include <cstdint>

// Installs package package_name of fit into a fresh UBI volume on MTD
// partition partition_name ("none" packages straight from the firmpack,
// "gzip" packages through gunzip) and verifies it by mounting the volume and
// comparing its version file with the description, with label "filesystem" or
// "applications". 0 on success, otherwise the code of the first failure.
[[nodiscard]] int store_fs_in_flash(const uint8_t* fit, const char* package_name,
                                    const char* partition_name, const char* label);
