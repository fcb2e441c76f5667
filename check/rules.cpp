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
#include <string_view>
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
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, pattern, arguments);
    va_end(arguments);
    std::string text(static_cast<std::size_t>(std::max(length, 0)), '\0');
    vsnprintf(text.data(), text.size() + 1, pattern, again);
    va_end(again);
    return text;
}

// Boards that share a package share its findings: each is given once.
void add_finding(std::vector<finding>* findings, finding_weight weight, const std::string& text)
{
    for (const finding& found : *findings) {
        if (found.text == text) {
            return;
        }
    }
    findings->push_back({weight, text});
}

constexpr const char* BOARD_CONFIG_RULE =
    "Name each board's configuration board_0x and its id in at least four lower-case "
    "hexadecimal digits (board_0x%4.4x)";

// The name the tool looks a board's configuration up by.
std::string board_config_name(uint32_t board_id)
{
    char name[BOARD_CONFIG_NAME_SIZE];
    firmpack_board_config_name(board_id, name);
    return name;
}

// The configurations of a firmpack, each with what is wrong with its name.
std::string configuration_list(const uint8_t* fit)
{
    std::string list;
    const int configurations = fdt_path_offset(fit, FIT_CONFIGURATIONS_PATH);
    int node = 0;
    fdt_for_each_subnode(node, fit, configurations)
    {
        const char* name = fdt_get_name(fit, node, nullptr);
        list += (list.empty() ? "" : ", ") + std::string(name);
        uint32_t id = 0;
        if (firmpack_config_board_id(name, &id) != 0) {
            list += " (not a board configuration)";
        } else if (firmpack_board_config(fit, id) != node) {
            list +=
                format(" (board 0x%04x would need it named %s)", id, board_config_name(id).c_str());
        }
    }
    return list.empty() ? "none" : list;
}

void explain_missing_configuration(const firmpack_input& firmpack, uint32_t board_id,
                                   std::vector<finding>* findings)
{
    add_finding(findings, FINDING_FAILS,
                format("%s has no configuration %s for board 0x%04x; its configurations: %s. %s",
                       firmpack.display_name, board_config_name(board_id).c_str(), board_id,
                       configuration_list(firmpack.fit).c_str(), BOARD_CONFIG_RULE));
}

// Whether the board's configuration names a partition-ID package, as only an
// OS firmpack's does.
bool names_fdt_package(const uint8_t* fit, uint32_t board_id)
{
    const int config = firmpack_board_config(fit, board_id);
    return config >= 0 && firmpack_config_fdt(fit, config) >= 0;
}

// An APP firmpack where the OS firmpack is expected, or the reverse: true when
// found.
bool explain_order(const firmpack_pair& pair, std::vector<finding>* findings)
{
    const bool os_first = names_fdt_package(pair.os.fit, pair.board_id);
    const bool os_second = names_fdt_package(pair.app.fit, pair.board_id);
    std::string text;
    if (!os_first && os_second) {
        text = format("%s, given first, names no partition-ID package ('fdt' in its board "
                      "configuration) and %s, given second, does: the firmpacks are swapped. Give "
                      "the OS firmpack first",
                      pair.os.display_name, pair.app.display_name);
    } else if (!os_first) {
        text = format("%s, given first, names no partition-ID package ('fdt' in its board "
                      "configuration): if it is the APP firmpack, give the OS firmpack first; if "
                      "it is the OS firmpack, name its partition-ID package there",
                      pair.os.display_name);
    } else if (os_second) {
        text = format("%s, given second, names a partition-ID package ('fdt' in its board "
                      "configuration): it is an OS firmpack where the APP firmpack is expected. "
                      "Give the APP firmpack second",
                      pair.app.display_name);
    }
    if (!text.empty()) {
        add_finding(findings, FINDING_FAILS, text);
    }
    return !text.empty();
}

// The APP version is a name, a colon and the OS version.
void explain_version_pairing(const firmpack_pair& pair, std::vector<finding>* findings)
{
    const char* os_version = nullptr;
    const char* app_version = nullptr;
    if (firmpack_get_description(pair.os.fit, 0, &os_version) != 0 ||
        firmpack_get_description(pair.app.fit, 0, &app_version) != 0) {
        return;
    }
    const char* colon = strchr(app_version, ':');
    if (colon == nullptr) {
        add_finding(findings, FINDING_FAILS,
                    format("the version of %s, '%s', has no colon: an APP firmpack's root "
                           "description is a name, a colon and the OS version. Describe it as "
                           "'<name>:%s', for instance 'apps:%s'",
                           pair.app.display_name, app_version, os_version, os_version));
    } else if (strcmp(colon + 1, os_version) != 0) {
        add_finding(findings, FINDING_FAILS,
                    format("the version of %s, '%s', names '%s' after its first colon, but the OS "
                           "version is '%s': the two must be equal byte for byte. Build both "
                           "firmpacks of one release",
                           pair.app.display_name, app_version, colon + 1, os_version));
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

// True when the filesystem package makes the update fail on the board.
bool check_filesystem(const firmpack_package& package, const char* label,
                      std::vector<finding>* findings)
{
    bool fails = false;
    const std::string description = package.description;
    const std::string expected_start = std::string(label) + " ";
    if (description.rfind(expected_start, 0) != 0 || description.size() == expected_start.size() ||
        has_outer_space(description)) {
        add_finding(findings, FINDING_FAILS,
                    format("package '%s' is described as '%s', not as '%s <version>': the board "
                           "writes the volume, then its check against the version file fails and "
                           "the update with it. Describe it as '%s' and the text of the image's "
                           "version file",
                           package.name, package.description, label, expected_start.c_str()));
        fails = true;
    }
    const uint8_t compression = compression_of(package);
    if (compression != COMPRESSION_NONE && compression != COMPRESSION_GZIP) {
        add_finding(findings, FINDING_FAILS,
                    format("package '%s' has %s%s%s: the tool installs only none and gzip, and "
                           "the update fails there. Set compression = \"none\" or \"gzip\"",
                           package.name, package.compression != nullptr ? "compression '" : "",
                           package.compression != nullptr ? package.compression : "no compression",
                           package.compression != nullptr ? "'" : ""));
        return true;
    }
    uint8_t start[UBIFS_MAGIC_SIZE];
    if (!content_start(package, start, sizeof start) || get_le32(start) != UBIFS_NODE_MAGIC) {
        add_finding(findings, FINDING_FAILS,
                    format("package '%s' is not a UBIFS image%s: the board erases the partition, "
                           "writes it and cannot mount it, and the update fails. Make it with "
                           "mkfs.ubifs for the board's NAND",
                           package.name, compression == COMPRESSION_GZIP ? " once gunzipped" : ""));
        fails = true;
    }
    return fails;
}

bool check_bootloader(const firmpack_package& package, std::vector<finding>* findings)
{
    if (strlen(package.description) > bootloader_admin_record::DESCRIPTION_KEPT) {
        add_finding(findings, FINDING_WARNS,
                    format("the description of bootloader package '%s' is longer than the %u "
                           "characters its record keeps: every run takes it for changed and "
                           "installs it again. Shorten it to %u characters",
                           package.name, bootloader_admin_record::DESCRIPTION_KEPT,
                           bootloader_admin_record::DESCRIPTION_KEPT));
    }
    if (package.size <= BOOTLOADER_IMAGE_AREA_SIZE) {
        return false;
    }
    add_finding(findings, FINDING_FAILS,
                format("bootloader package '%s' holds %u bytes, more than its image area of %u: "
                       "the tool refuses to store it and the update fails before anything is "
                       "written. Keep the bootloader within %u bytes",
                       package.name, package.size, BOOTLOADER_IMAGE_AREA_SIZE,
                       BOOTLOADER_IMAGE_AREA_SIZE));
    return true;
}

// Up to eight bytes in hexadecimal, "..." after them when there are more.
std::string hex_bytes(const uint8_t* data, uint32_t size)
{
    constexpr uint32_t SHOWN = 8;
    std::string text;
    for (uint32_t i = 0; i < std::min(size, SHOWN); ++i) {
        text += format("%s%02x", i == 0 ? "" : " ", data[i]);
    }
    return size > SHOWN ? text + " ..." : text;
}

// A partition ID that is no decimal text, such as <2> in an .its (the four
// bytes 00 00 00 02): the tool reads no layout number and the pair is legacy.
void explain_partition_id_data(const firmpack_pair& pair, std::vector<finding>* findings)
{
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(pair.os.fit, pair.fdt_image, &data, &size) != 0) {
        return;
    }
    const bool readable = size > 0 && size <= PARTITION_ID_MAX_SIZE;
    if (readable && isdigit(data[0])) {
        return; // the number of another partitioning
    }
    const std::string held = size == 0 ? "no bytes"
                                       : format("%u byte%s (%s)", size, size == 1 ? "" : "s",
                                                hex_bytes(data, size).c_str());
    const std::string read_as = readable ? format("the tool reads it as %d", pair.partition_id)
                                         : format("the tool reads 1 to %u", PARTITION_ID_MAX_SIZE);
    add_finding(findings, FINDING_WARNS,
                format("partition-ID package '%s' holds %s where the text of a number belongs: %s "
                       "and takes the pair for legacy. For the current partitioning its data must "
                       "be the text \"%d\": data = \"%d\" in the .its (<%d> gives four binary "
                       "bytes)",
                       fdt_get_name(pair.os.fit, pair.fdt_image, nullptr), held.c_str(),
                       read_as.c_str(), CURRENT_PARTITIONING, CURRENT_PARTITIONING,
                       CURRENT_PARTITIONING));
}

void explain_partition_id_lookalike(const firmpack_pair& pair, std::vector<finding>* findings)
{
    const int fdt = pair.fdt_image;
    const char* description = nullptr;
    if (firmpack_get_description(pair.os.fit, fdt, &description) == 0 &&
        loosely(description).rfind(loosely(PARTITION_ID_PREFIX), 0) == 0) {
        add_finding(findings, FINDING_WARNS,
                    format("FDT package '%s' is described as '%s', which differs from '%s' only "
                           "in letter case or blanks: the tool takes the pair for a legacy pair. "
                           "Describe it exactly '%s'",
                           fdt_get_name(pair.os.fit, fdt, nullptr), description,
                           PARTITION_ID_PREFIX, PARTITION_ID_PREFIX));
    }
}

} // namespace

void find_unchecked_signatures(const firmpack_input& firmpack, std::vector<finding>* findings)
{
    const uint8_t* fit = firmpack.fit;
    const int configurations = fdt_path_offset(fit, FIT_CONFIGURATIONS_PATH);
    int config = 0;
    fdt_for_each_subnode(config, fit, configurations)
    {
        int child = 0;
        fdt_for_each_subnode(child, fit, config)
        {
            if (std::string_view(fdt_get_name(fit, child, nullptr)).starts_with("signature")) {
                add_finding(findings, FINDING_NOTES,
                            format("%s: configuration %s carries a signature, not checked: "
                                   "give --keys <key file> to check it as a board with that "
                                   "key file does",
                                   firmpack.display_name, fdt_get_name(fit, config, nullptr)));
                break;
            }
        }
    }
}

void find_hash_records(const firmpack_input& firmpack, hash_set set, std::vector<finding>* findings)
{
    const uint8_t* fit = firmpack.fit;
    if (firmpack_check_extent(fit, firmpack.size) != 0 || firmpack_check_structure(fit) != 0) {
        return;
    }
    const int images = fdt_path_offset(fit, FIT_IMAGES_PATH);
    int image = 0;
    fdt_for_each_subnode(image, fit, images)
    {
        const char* image_name = fdt_get_name(fit, image, nullptr);
        bool hashed = false;
        int hash = 0;
        fdt_for_each_subnode(hash, fit, image)
        {
            const char* node = fdt_get_name(fit, hash, nullptr);
            const char* algo = nullptr;
            const bool hash_node = firmpack_is_hash_node(node);
            hashed = hashed || hash_node;
            if (!hash_node || firmpack_get_hash_algo(fit, hash, &algo) != 0 ||
                firmpack_hash_known(algo, set)) {
                continue;
            }
            add_finding(findings, FINDING_FAILS,
                        format("%s: hash node '%s' of image '%s' uses %s, which the tool does not "
                               "compute: it refuses the firmpack. Use algo = \"crc32\", \"sha1\" "
                               "or \"md5\"",
                               firmpack.display_name, node, image_name, algo));
        }
        if (!hashed) {
            add_finding(findings, FINDING_WARNS,
                        format("%s: image '%s' has no hash record: the tool installs it "
                               "unchecked, and nothing proves it arrived whole. Give it one, "
                               "such as hash-1 { algo = \"sha1\"; }",
                               firmpack.display_name, image_name));
        }
    }
}

void find_unmatched_boards(const firmpack_pair& pair, std::vector<finding>* findings)
{
    const firmpack_input* firmpacks[2] = {&pair.os, &pair.app};
    for (int i = 0; i < 2; ++i) {
        const firmpack_input& defines = *firmpacks[i];
        const firmpack_input& lacks = *firmpacks[1 - i];
        const std::vector<uint32_t> others = firmpack_board_ids(lacks.fit);
        for (uint32_t board : firmpack_board_ids(defines.fit)) {
            if (std::find(others.begin(), others.end(), board) == others.end()) {
                add_finding(findings, FINDING_WARNS,
                            format("board 0x%04x is defined in %s but not in %s: the tool "
                                   "refuses the pair on that board. Define it in both, or in "
                                   "neither",
                                   board, defines.display_name, lacks.display_name));
            }
        }
    }
}

void explain_no_board(const firmpack_pair& pair, std::vector<finding>* findings)
{
    add_finding(findings, FINDING_FAILS,
                format("%s has no board configuration, so every board refuses the pair; its "
                       "configurations: %s. %s",
                       pair.os.display_name, configuration_list(pair.os.fit).c_str(),
                       BOARD_CONFIG_RULE));
}

void explain_verdict(const board_finding& board, std::vector<finding>* findings)
{
    const firmpack_pair& pair = board.pair;
    if (board.verdict == PAIR_LEGACY) {
        if (pair.legacy == LEGACY_NO_PARTITION_ID) {
            explain_partition_id_lookalike(pair, findings);
        } else if (pair.legacy != LEGACY_NO_FILESYSTEM) {
            explain_partition_id_data(pair, findings);
        }
        return;
    }
    if (board.verdict != PAIR_REFUSED) {
        return;
    }
    if (firmpack_board_config(pair.os.fit, pair.board_id) < 0) {
        explain_missing_configuration(pair.os, pair.board_id, findings);
        return;
    }
    // Versions of firmpacks in the wrong places say nothing.
    if (!explain_order(pair, findings) && pair.partition_id == CURRENT_PARTITIONING) {
        explain_version_pairing(pair, findings);
    }
    if (firmpack_board_config(pair.app.fit, pair.board_id) < 0) {
        explain_missing_configuration(pair.app, pair.board_id, findings);
    }
}

bool check_packages(const board_finding& board, std::vector<finding>* findings)
{
    if (board.verdict != PAIR_ACCEPTED) {
        return false;
    }
    // Every package is checked, so that one run names every fault.
    const bool bootloader = check_bootloader(board.pair.bootloader, findings);
    const bool rootfs = check_filesystem(board.pair.os_filesystem, ROOTFS_LABEL, findings);
    const bool apps = check_filesystem(board.pair.app_filesystem, APPS_LABEL, findings);
    return bootloader || rootfs || apps;
}
