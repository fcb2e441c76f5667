// Firmpack sources: two mapped files, or two shared-memory regions of the
// platform library. Each hands both firmpacks to run_update and returns its result.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

inline constexpr const char* SHM_OS_DISPLAY_NAME = "shm:fp_os.img";
inline constexpr const char* SHM_APP_DISPLAY_NAME = "shm:fp_app.img";

// The result of run_update, or the non-zero result of mapping a file.
[[nodiscard]] int update_from_files(const char* os_path, const char* app_path, uint32_t board_id);

// The result of run_update, or the platform library's non-zero result.
[[nodiscard]] int update_from_shm(uint32_t board_id);
