// Fuzz target: an installed version file of any content and size, composed
// with each label into the text that is compared with a package description.
// SPDX-License-Identifier: MIT

#include "ubi/version.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static version_text buffer;
    for (const char* label : {"filesystem", "applications"}) {
        const char* installed = nullptr;
        (void)compose_installed_version(label, data, size, &buffer, &installed);
        // The composed text is a string inside the buffer.
        if (installed < buffer.data() ||
            installed + strlen(installed) >= buffer.data() + buffer.size()) {
            __builtin_trap();
        }
    }
    return 0;
}
