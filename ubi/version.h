// Installed-version check: a filesystem package's description against the
// version file at the root of a filesystem.
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// Room for the label, one blank, the version file's bytes and a NUL.
inline constexpr std::size_t VERSION_TEXT_SIZE = 4096;
using version_text = std::array<char, VERSION_TEXT_SIZE>;

// Composes label, one blank and the size bytes of a version file (its text
// ends at its first NUL) in buffer, and trims C-locale white space (0x09-0x0D,
// 0x20) from both ends of the whole. *installed points at the trimmed text
// inside buffer. 0, or 27 when the file did not fit and only what fits was
// composed.
[[nodiscard]] int compose_installed_version(const char* label, const uint8_t* file,
                                            std::size_t size, version_text* buffer,
                                            const char** installed);

// The verify argument of check_update_required: the check before installing,
// or the verification of a freshly written volume. It only changes the
// messages.
inline constexpr int VERSION_CHECK = 0;
inline constexpr int VERSION_VERIFY = 1;

// Sets *update_required to 1 when the package differs from the filesystem (or
// the version file is missing, unreadable, empty or too long to compose) and
// to 0 when the filesystem carries exactly the package's version. verify is
// VERSION_CHECK or VERSION_VERIFY (any non-zero value verifies). Always
// returns 0.
[[nodiscard]] int check_update_required(const char* description, const char* package_name,
                                        uint32_t* update_required, const char* version_file,
                                        const char* label, int verify);

// The labels in front of the version text in a filesystem package's
// description: "<label> <text of the filesystem's version file>".
inline constexpr const char* ROOTFS_LABEL = "filesystem";
inline constexpr const char* APPS_LABEL = "applications";
// The running filesystems' version files.
inline constexpr const char* ROOTFS_VERSION_FILE = "/version";
inline constexpr const char* APPS_VERSION_FILE = "/mnt/apps/version";
