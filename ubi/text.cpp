// SPDX-License-Identifier: MIT
#include "ubi/text.h"

#include <cstdarg>
#include <cstdio>

bool format_text(char* buffer, std::size_t size, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int written = vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return written >= 0 && static_cast<std::size_t>(written) < size;
}
