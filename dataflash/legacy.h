// Legacy firmpack downgrade: erase the Linux update administration so that the
// boot loader performs the update itself.
// SPDX-License-Identifier: MIT
#pragma once

// 0 when both Linux slots read back as 0xFF; -1 when a transfer failed; 22
// when another byte was read back.
[[nodiscard]] int install_legacy_firmpacks();
