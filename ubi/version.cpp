// SPDX-License-Identifier: MIT
#include "ubi/version.h"

#include "io/image_file.h"
#include "ubi/result.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// White space as the C locale classes it; the tool never changes the locale,
// and no byte of 0x80 or above counts.
constexpr bool is_c_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Copies up to count bytes to buffer[used...], never past room; the new fill.
std::size_t append(char* buffer, std::size_t used, std::size_t room, const void* bytes,
                   std::size_t count)
{
    std::size_t taken = count < room - used ? count : room - used;
    memcpy(buffer + used, bytes, taken);
    return used + taken;
}

// Cuts white space off both ends of the NUL-terminated text in place.
const char* trim(char* text)
{
    while (is_c_space(*text)) {
        ++text;
    }
    char* end = text + strlen(text);
    while (end > text && is_c_space(end[-1])) {
        --end;
    }
    *end = '\0';
    return text;
}

void report_match(const char* package_name, const char* installed, int verify)
{
    if (verify == VERSION_CHECK) {
        printf("   Package '%-14.14s' not changed, got '%s'\n", package_name, installed);
    }
}

void report_difference(const char* description, const char* package_name, const char* installed,
                       int verify)
{
    if (verify == VERSION_CHECK) {
        printf("   Package '%-14.14s' changed, got '%s', found '%s'\n", package_name, installed,
               description);
    } else {
        printf("ERROR: Package '%-14.14s' does not match, need '%s', found '%s'\n", package_name,
               installed, description);
    }
}

} // namespace

int compose_installed_version(const char* label, const uint8_t* file, std::size_t size,
                              version_text* buffer, const char** installed)
{
    char* text = buffer->data();
    const std::size_t room = buffer->size() - 1;
    const std::size_t prefix = strlen(label) + 1;
    const bool fits = prefix <= room && size <= room - prefix;

    std::size_t used = append(text, 0, room, label, prefix - 1);
    used = append(text, used, room, " ", 1);
    used = append(text, used, room, file, size);
    text[used] = '\0';
    *installed = trim(text);
    return fits ? 0 : UBI_TEXT_CUT;
}

int check_update_required(const char* description, const char* package_name,
                          uint32_t* update_required, const char* version_file, const char* label,
                          int verify)
{
    *update_required = 1;
    const uint8_t* file = nullptr;
    int32_t size = 0;
    if (map_image_file(version_file, &file, &size) != 0) {
        printf("   Package '%-14.14s' not yet installed (NO '/version' FILE!)\n", package_name);
        return 0;
    }

    version_text buffer;
    const char* installed = nullptr;
    // A file cut to fit the buffer is never taken for the package's version.
    bool whole = compose_installed_version(label, file, static_cast<std::size_t>(size), &buffer,
                                           &installed) == 0;
    if (whole && strcmp(installed, description) == 0) {
        *update_required = 0;
        report_match(package_name, installed, verify);
    } else {
        report_difference(description, package_name, installed, verify);
    }

    if (unmap_image_file(file, size) != 0) {
        printf("unmap failed\n");
    }
    return 0;
}
