// SPDX-License-Identifier: MIT
#include "check/rules.h"

#include "dataflash/layout.h"
#include "firmpack/byte_order.h"
#include "firmpack/extent.h"
#include "firmpack/fit.h"
#include "firmpack/structure.h"
#include "firmpack/verify.h"
#include "ubi/version.h"

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <libfdt.h>
#include <zlib.h>

namespace {

// Every UBIFS image starts with a node header whose first field is this magic,
// stored little-endian.
constexpr uint32_t UBIFS_NODE_MAGIC = 0x06101831;
constexpr uint32_t UBIFS_MAGIC_SIZE = 4;
constexpr int GZIP_WINDOW_BITS = 16 + MAX_WBITS; // a gzip header, not a raw zlib one

std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char* pattern, ...)
{
    va_list arguments;
    va_start(arguments, pattern);
    char text[1024];
    vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

// Boards that share a package share its warnings: each is given once.
void add_warning(std::vector<std::string>* warnings, const std::string& text)
{
    if (std::find(warnings->begin(), warnings->end(), text) == warnings->end()) {
        warnings->push_back(text);
    }
}

// Lower case, blanks left out: how a person reads a label.
std::string loosely(const char* text)
{
    std::string folded;
    for (const char* c = text; *c != '\0'; ++c) {
        if (!isspace(static_cast<unsigned char>(*c))) {
            folded += static_cast<char>(tolower(static_cast<unsigned char>(*c)));
        }
    }
    return folded;
}

bool has_outer_space(const std::string& text)
{
    return !text.empty() && (isspace(static_cast<unsigned char>(text.front())) ||
                             isspace(static_cast<unsigned char>(text.back())));
}

// The code of a package's compression name, 0xFF for none or an unknown one.
uint8_t compression_of(const firmpack_package& package)
{
    if (package.compression == nullptr) {
        return COMPRESSION_UNKNOWN;
    }
    return static_cast<uint8_t>(compression_by_name(package.compression));
}

// The first bytes of a package's content: as stored, or gunzipped. False when
// the gzip stream does not give them.
bool content_start(const firmpack_package& package, uint8_t* start, uint32_t count)
{
    if (compression_of(package) != COMPRESSION_GZIP) {
        if (package.size < count) {
            return false;
        }
        memcpy(start, package.data, count);
        return true;
    }
    z_stream stream{};
    if (inflateInit2(&stream, GZIP_WINDOW_BITS) != Z_OK) {
        return false;
    }
    stream.next_in = const_cast<uint8_t*>(package.data);
    stream.avail_in = package.size;
    stream.next_out = start;
    stream.avail_out = count;
    int status = Z_OK;
    while (stream.avail_out > 0 && status == Z_OK) {
        status = inflate(&stream, Z_NO_FLUSH);
    }
    inflateEnd(&stream);
    return stream.avail_out == 0;
}

void warn_filesystem(const firmpack_package& package, const char* label,
                     std::vector<std::string>* warnings)
{
    const std::string description = package.description;
    const std::string expected_start = std::string(label) + " ";
    if (description.rfind(expected_start, 0) != 0 || description.size() == expected_start.size() ||
        has_outer_space(description)) {
        add_warning(warnings, format("package '%s' is described as '%s', not as '%s "
                                     "<version>': its check against the version file "
                                     "fails after the volume was written",
                                     package.name, package.description, label));
    }
    const uint8_t compression = compression_of(package);
    if (compression != COMPRESSION_NONE && compression != COMPRESSION_GZIP) {
        add_warning(warnings, format("package '%s' has a compression other than none or "
                                     "gzip: the tool refuses to install it",
                                     package.name));
        return;
    }
    uint8_t start[UBIFS_MAGIC_SIZE];
    if (!content_start(package, start, sizeof start) || get_le32(start) != UBIFS_NODE_MAGIC) {
        add_warning(warnings,
                    format("package '%s' is not a UBIFS image%s: the volume "
                           "written from it does not mount",
                           package.name, compression == COMPRESSION_GZIP ? " once gunzipped" : ""));
    }
}

void warn_bootloader(const firmpack_package& package, std::vector<std::string>* warnings)
{
    if (package.size > BOOTLOADER_IMAGE_AREA_SIZE) {
        add_warning(warnings, format("bootloader package '%s' holds %u bytes, more than "
                                     "its image area of %u: the tool refuses it",
                                     package.name, package.size, BOOTLOADER_IMAGE_AREA_SIZE));
    }
    if (strlen(package.description) > bootloader_admin_record::DESCRIPTION_KEPT) {
        add_warning(warnings, format("the description of bootloader package '%s' is "
                                     "longer than the %u characters its record keeps: "
                                     "every run takes it for changed and installs it",
                                     package.name, bootloader_admin_record::DESCRIPTION_KEPT));
    }
}

} // namespace

void warn_unsupported_hashes(const firmpack_input& firmpack, std::vector<std::string>* warnings)
{
    const uint8_t* fit = firmpack.fit;
    if (firmpack_check_extent(fit, firmpack.size) != 0 || firmpack_check_structure(fit) != 0) {
        return;
    }
    const int images = fdt_path_offset(fit, FIT_IMAGES_PATH);
    int image = 0;
    fdt_for_each_subnode(image, fit, images)
    {
        int hash = 0;
        fdt_for_each_subnode(hash, fit, image)
        {
            const char* node = fdt_get_name(fit, hash, nullptr);
            const char* algo = nullptr;
            if (!firmpack_is_hash_node(node) || firmpack_get_hash_algo(fit, hash, &algo) != 0 ||
                firmpack_hash_known(algo)) {
                continue;
            }
            add_warning(warnings, format("%s: hash node '%s' of image '%s' uses %s, which the tool "
                                         "does not compute (crc32, sha1, md5): it refuses the "
                                         "firmpack",
                                         firmpack.display_name, node,
                                         fdt_get_name(fit, image, nullptr), algo));
        }
    }
}

void warn_unmatched_boards(const firmpack_pair& pair, std::vector<std::string>* warnings)
{
    const std::vector<uint32_t> os_boards = firmpack_board_ids(pair.os.fit);
    const std::vector<uint32_t> app_boards = firmpack_board_ids(pair.app.fit);
    for (uint32_t board : app_boards) {
        if (std::find(os_boards.begin(), os_boards.end(), board) == os_boards.end()) {
            add_warning(warnings, format("board 0x%04x is defined in %s but not in %s", board,
                                         pair.app.display_name, pair.os.display_name));
        }
    }
    for (uint32_t board : os_boards) {
        if (std::find(app_boards.begin(), app_boards.end(), board) == app_boards.end()) {
            add_warning(warnings, format("board 0x%04x is defined in %s but not in %s", board,
                                         pair.os.display_name, pair.app.display_name));
        }
    }
}

void warn_partition_id_lookalike(const board_finding& board, std::vector<std::string>* warnings)
{
    const firmpack_pair& pair = board.pair;
    if (pair.legacy != LEGACY_NO_PARTITION_ID) {
        return;
    }
    const int fdt = pair.fdt_image;
    const char* description = nullptr;
    if (firmpack_get_description(pair.os.fit, fdt, &description) == 0 &&
        loosely(description).rfind(loosely(PARTITION_ID_PREFIX), 0) == 0) {
        add_warning(warnings, format("FDT package '%s' is described as '%s', which differs from "
                                     "'%s' only in letter case or blanks: the tool takes the pair "
                                     "for a legacy pair, erases the Linux update administration "
                                     "and leaves the update to the boot loader",
                                     fdt_get_name(pair.os.fit, fdt, nullptr), description,
                                     PARTITION_ID_PREFIX));
    }
}

void warn_packages(const board_finding& board, std::vector<std::string>* warnings)
{
    if (board.verdict != PAIR_ACCEPTED) {
        return;
    }
    warn_bootloader(board.pair.bootloader, warnings);
    warn_filesystem(board.pair.os_filesystem, ROOTFS_LABEL, warnings);
    warn_filesystem(board.pair.app_filesystem, APPS_LABEL, warnings);
}
