// SPDX-License-Identifier: MIT
#include "status/report.h"

#include "dataflash/records.h"
#include "firmpack/byte_order.h"
#include "io/result.h"
#include "ubi/version.h"

#include <json-c/json.h>

#include <array>
#include <cstdarg>
#include <cstring>
#include <string_view>

namespace {

namespace bootloader = bootloader_admin_record;
namespace linux_record = linux_admin_record;

constexpr int ITEM_COLUMNS = 19; // "bootloader slot 0: " and the text behind it
constexpr const char* NOT_READ = "not read";
constexpr const char* UNKNOWN = "unknown";

constexpr std::array<const char*, 6> BOOTLOADER_STATE_NAMES = {
    "unread", "erased", "corrupt", "image_unread", "image_damaged", "good"};
constexpr std::array<const char*, 4> LINUX_STATE_NAMES = {"unread", "erased", "invalid", "valid"};

// The installed file: its keys, and the texts that match no package.
constexpr const char* KEY_BOOTLOADER = "bootloader";
constexpr const char* KEY_ROOTFS = "rootfs";
constexpr const char* KEY_APPS = "apps";
// A package description never holds a NUL byte.
constexpr std::string_view NO_BOOTLOADER{"(not installed)\0", 16};
// Longer than any version text the update composes whole; what follows the
// words is blanks.
constexpr std::string_view NO_VERSION = "(not installed)";
constexpr std::string_view VERSION_CUT = "(too long to compare)";
static_assert(VERSION_TEXT_SIZE > 4084);

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...)
{
    std::array<char, 256> text;
    va_list values;
    va_start(values, format);
    vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

// A text quoted for a line of its own: printable ASCII as it is, anything
// else as a C escape.
std::string quoted(std::string_view text)
{
    std::string shown = "\"";
    for (char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            shown += '\\';
            shown += c;
        } else if (c == '\n') {
            shown += "\\n";
        } else if (byte < 0x20 || byte >= 0x7F) {
            shown += formatted("\\x%02x", byte);
        } else {
            shown += c;
        }
    }
    return shown + "\"";
}

uint32_t field(const uint8_t* record, uint32_t offset)
{
    return get_le32(record + offset);
}

// --- the lines ----------------------------------------------------------------

void add(std::vector<status_line>* lines, const char* item, const std::string& text,
         bool problem = false)
{
    lines->push_back({item, text, problem});
}

void add_kernel(std::vector<status_line>* lines, const kernel_status& kernel)
{
    if (kernel.result == IO_CMDLINE_EMPTY) {
        add(lines, "kernel command line", "empty", true);
    } else if (kernel.result != 0) {
        add(lines, "kernel command line", formatted("cannot be read (%s)", strerror(kernel.result)),
            true);
    }
    std::string board_id = formatted("0x%x", kernel.board_id);
    const char* missing = kernel.board_io.empty() && kernel.board_core.empty() ? "brd_id_io= and "
                                                                                 "brd_id_core="
                          : kernel.board_io.empty()                            ? "brd_id_io="
                          : kernel.board_core.empty()                          ? "brd_id_core="
                                                                               : nullptr;
    if (missing == nullptr) {
        add(lines, "board id", board_id);
    } else {
        add(lines, "board id",
            board_id + formatted(": no %s on the kernel command line, taken as 0", missing), true);
    }
    if (kernel.baseline != NO_BASELINE) {
        add(lines, "running baseline", std::to_string(kernel.baseline));
    } else if (kernel.baseline_text.empty()) {
        add(lines, "running baseline", "none: no baseline= on the kernel command line", true);
    } else {
        add(lines, "running baseline",
            "none: baseline=" + kernel.baseline_text + " is neither 1 nor 2", true);
    }
}

std::string map_failure(const version_status& version)
{
    switch (version.failed_step) {
    case MAP_EMPTY:
        return "empty, or not a regular file";
    case MAP_NOT_A_FILE:
        return "not a regular file";
    case MAP_TOO_LARGE:
        return "too large";
    case MAP_OPEN:
    case MAP_STAT:
    case MAP_MMAP:
        break;
    }
    return strerror(version.result);
}

void add_version(std::vector<status_line>* lines, const char* item, const version_status& version)
{
    if (version.result != 0) {
        add(lines, item,
            std::string("not installed: ") + version.path + ": " + map_failure(version), true);
    } else if (!version.whole) {
        add(lines, item,
            std::string(version.path) +
                " too long to compare: the update takes every package as changed",
            true);
    } else {
        add(lines, item, quoted(version.text) + " (" + version.path + ")");
    }
}

std::string bootloader_record_text(const uint8_t* record)
{
    return formatted("sequence %u, ", field(record, bootloader::SEQUENCE)) +
           quoted(bootloader_record_description(record)) +
           formatted(", image of %u bytes at 0x%x", field(record, bootloader::IMAGE_LENGTH),
                     field(record, bootloader::IMAGE_OFFSET));
}

std::string bootloader_fields(const uint8_t* record)
{
    return formatted("magic 0x%x, image 0x%x + %u, valid %u, sequence %u, magic_end 0x%x",
                     field(record, bootloader::MAGIC), field(record, bootloader::IMAGE_OFFSET),
                     field(record, bootloader::IMAGE_LENGTH), field(record, bootloader::VALID),
                     field(record, bootloader::SEQUENCE), field(record, bootloader::MAGIC_END));
}

void add_bootloader_slot(std::vector<status_line>* lines, const dataflash_status& dataflash,
                         int slot)
{
    const char* item = slot == 0 ? "bootloader slot 0" : "bootloader slot 1";
    const uint8_t* record = bootloader_slot_bytes(dataflash, slot);
    switch (dataflash.bootloader[static_cast<std::size_t>(slot)]) {
    case BOOTLOADER_UNREAD:
        add(lines, item, NOT_READ);
        break;
    case BOOTLOADER_ERASED:
        add(lines, item, "erased");
        break;
    case BOOTLOADER_CORRUPT:
        add(lines, item, "corrupt record: " + bootloader_fields(record), true);
        break;
    case BOOTLOADER_IMAGE_UNREAD:
        add(lines, item, bootloader_record_text(record) + ": cannot be read", true);
        break;
    case BOOTLOADER_IMAGE_DAMAGED:
        add(lines, item, bootloader_record_text(record) + ": does not have the record's CRC-32",
            true);
        break;
    case BOOTLOADER_GOOD:
        add(lines, item, bootloader_record_text(record) + ", CRC-32 good");
        break;
    }
}

void add_linux_slot(std::vector<status_line>* lines, const dataflash_status& dataflash,
                    uint32_t board_id, int baseline)
{
    const char* item = baseline == 1 ? "linux baseline 1" : "linux baseline 2";
    const uint8_t* record = linux_slot_bytes(dataflash, baseline);
    switch (dataflash.linux_slots[static_cast<std::size_t>(baseline - 1)]) {
    case LINUX_UNREAD:
        add(lines, item, NOT_READ);
        break;
    case LINUX_ERASED:
        add(lines, item, "erased");
        break;
    case LINUX_INVALID:
        add(lines, item,
            formatted("not valid for board 0x%x: magic 0x%x, valid %u, sequence %u, format %u, "
                      "board 0x%x, magic_end 0x%x",
                      board_id, field(record, linux_record::MAGIC),
                      field(record, linux_record::VALID), field(record, linux_record::SEQUENCE),
                      field(record, linux_record::FORMAT), field(record, linux_record::BOARD_ID),
                      field(record, linux_record::MAGIC_END)),
            true);
        break;
    case LINUX_VALID:
        add(lines, item,
            formatted("sequence %u, valid for board 0x%x", field(record, linux_record::SEQUENCE),
                      board_id));
        break;
    }
}

void add_dataflash(std::vector<status_line>* lines, const board_status& status)
{
    const dataflash_status& dataflash = status.dataflash;
    if (dataflash.bootloader_result != 0) {
        add(lines, "dataflash", "cannot be read", true);
    } else if (dataflash.linux_result != 0) {
        add(lines, "dataflash", "the Linux update administration cannot be read", true);
    }
    for (int slot = 0; slot < BOOTLOADER_SLOT_COUNT; ++slot) {
        add_bootloader_slot(lines, dataflash, slot);
    }
    for (int baseline = 1; baseline <= 2; ++baseline) {
        add_linux_slot(lines, dataflash, status.kernel.board_id, baseline);
    }
}

// What the boot loader starts next, and whether the board runs it already.
void add_next(std::vector<status_line>* lines, const board_status& status)
{
    const dataflash_status& dataflash = status.dataflash;
    if (!dataflash.next_bootloader_known) {
        add(lines, "next bootloader", UNKNOWN);
    } else if (dataflash.next_bootloader == NO_SLOT) {
        add(lines, "next bootloader", "none");
    } else {
        const uint8_t* record = bootloader_slot_bytes(dataflash, dataflash.next_bootloader);
        add(lines, "next bootloader",
            formatted("slot %d, sequence %u, ", dataflash.next_bootloader,
                      field(record, bootloader::SEQUENCE)) +
                quoted(bootloader_record_description(record)));
    }
    if (!dataflash.next_baseline_known) {
        add(lines, "next baseline", UNKNOWN);
    } else if (dataflash.next_baseline == NO_BASELINE) {
        add(lines, "next baseline", "none");
    } else {
        add(lines, "next baseline",
            formatted("%d, sequence %u", dataflash.next_baseline,
                      field(linux_slot_bytes(dataflash, dataflash.next_baseline),
                            linux_record::SEQUENCE)));
    }
    switch (restart_pending(status)) {
    case RESTART_UNKNOWN:
        add(lines, "restart pending", UNKNOWN);
        break;
    case RESTART_NOT_PENDING:
        add(lines, "restart pending", "no");
        break;
    case RESTART_PENDING:
        add(lines, "restart pending",
            formatted("yes: baseline %d starts next, baseline %d runs", dataflash.next_baseline,
                      status.kernel.baseline));
        break;
    }
}

// --- JSON ---------------------------------------------------------------------

json_object* json_text(std::string_view text)
{
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

// A text, or null for an empty one.
json_object* json_text_or_null(const std::string& text)
{
    return text.empty() ? nullptr : json_text(text);
}

json_object* json_number(uint32_t value)
{
    return json_object_new_int64(value);
}

json_object* json_kernel(const kernel_status& kernel)
{
    json_object* object = json_object_new_object();
    json_object_object_add(object, "readable", json_object_new_boolean(kernel.result == 0));
    json_object_object_add(object, "brd_id_io", json_text_or_null(kernel.board_io));
    json_object_object_add(object, "brd_id_core", json_text_or_null(kernel.board_core));
    json_object_object_add(object, "baseline", json_text_or_null(kernel.baseline_text));
    return object;
}

json_object* json_version(const version_status& version)
{
    json_object* object = json_object_new_object();
    json_object_object_add(object, "file", json_text(version.path));
    json_object_object_add(object, "installed", json_object_new_boolean(version.result == 0));
    json_object_object_add(object, "version",
                           version.result == 0 ? json_text(version.text) : nullptr);
    json_object_object_add(object, "comparable",
                           json_object_new_boolean(version.result == 0 && version.whole));
    return object;
}

json_object* json_bootloader_slot(const dataflash_status& dataflash, int slot)
{
    const bootloader_state state = dataflash.bootloader[static_cast<std::size_t>(slot)];
    const uint8_t* record = bootloader_slot_bytes(dataflash, slot);
    json_object* object = json_object_new_object();
    json_object_object_add(object, "slot", json_object_new_int(slot));
    json_object_object_add(object, "state",
                           json_text(BOOTLOADER_STATE_NAMES[static_cast<std::size_t>(state)]));
    if (state == BOOTLOADER_UNREAD) {
        return object;
    }
    json_object_object_add(object, "magic", json_number(field(record, bootloader::MAGIC)));
    json_object_object_add(object, "image_offset",
                           json_number(field(record, bootloader::IMAGE_OFFSET)));
    json_object_object_add(object, "image_length",
                           json_number(field(record, bootloader::IMAGE_LENGTH)));
    json_object_object_add(object, "image_crc", json_number(field(record, bootloader::IMAGE_CRC)));
    json_object_object_add(object, "valid", json_number(field(record, bootloader::VALID)));
    json_object_object_add(object, "sequence", json_number(field(record, bootloader::SEQUENCE)));
    json_object_object_add(object, "description", json_text(bootloader_record_description(record)));
    json_object_object_add(object, "magic_end", json_number(field(record, bootloader::MAGIC_END)));
    return object;
}

json_object* json_linux_slot(const dataflash_status& dataflash, int baseline)
{
    const linux_state state = dataflash.linux_slots[static_cast<std::size_t>(baseline - 1)];
    const uint8_t* record = linux_slot_bytes(dataflash, baseline);
    json_object* object = json_object_new_object();
    json_object_object_add(object, "baseline", json_object_new_int(baseline));
    json_object_object_add(object, "state",
                           json_text(LINUX_STATE_NAMES[static_cast<std::size_t>(state)]));
    if (state == LINUX_UNREAD) {
        return object;
    }
    json_object_object_add(object, "magic", json_number(field(record, linux_record::MAGIC)));
    json_object_object_add(object, "valid", json_number(field(record, linux_record::VALID)));
    json_object_object_add(object, "sequence", json_number(field(record, linux_record::SEQUENCE)));
    json_object_object_add(object, "format", json_number(field(record, linux_record::FORMAT)));
    json_object_object_add(object, "board_id", json_number(field(record, linux_record::BOARD_ID)));
    json_object_object_add(object, "magic_end",
                           json_number(field(record, linux_record::MAGIC_END)));
    return object;
}

json_object* json_next(const board_status& status)
{
    const dataflash_status& dataflash = status.dataflash;
    json_object* object = json_object_new_object();
    json_object_object_add(object, "bootloader_known",
                           json_object_new_boolean(dataflash.next_bootloader_known));
    json_object_object_add(object, "bootloader_slot",
                           dataflash.next_bootloader == NO_SLOT
                               ? nullptr
                               : json_object_new_int(dataflash.next_bootloader));
    json_object_object_add(object, "baseline_known",
                           json_object_new_boolean(dataflash.next_baseline_known));
    json_object_object_add(object, "baseline",
                           dataflash.next_baseline == NO_BASELINE
                               ? nullptr
                               : json_object_new_int(dataflash.next_baseline));
    const restart_state restart = restart_pending(status);
    json_object_object_add(
        object, "restart_pending",
        restart == RESTART_UNKNOWN ? nullptr : json_object_new_boolean(restart == RESTART_PENDING));
    return object;
}

// --- the installed file ---------------------------------------------------------

// The value whose composition with the label is the installed version text.
int installed_version_value(const version_status& version, std::string* value, std::string* reason)
{
    if (version.result != 0 || !version.whole) {
        *value = version.result != 0 ? NO_VERSION : VERSION_CUT;
        value->resize(VERSION_TEXT_SIZE, ' ');
        return 0;
    }
    // The text is the label alone, or the label, a blank and the rest.
    const std::size_t label_length = strlen(version.label);
    *value = version.text.size() > label_length ? version.text.substr(label_length + 1) : "";
    if (value->find('\n') != std::string::npos) {
        *reason = std::string(version.path) + " holds more than one line";
        return 1;
    }
    return 0;
}

int installed_bootloader_value(const dataflash_status& dataflash, std::string* value,
                               std::string* reason)
{
    if (dataflash.bootloader_result != 0 || !dataflash.next_bootloader_known) {
        *reason = "the bootloader update administration could not be read";
        return 1;
    }
    if (dataflash.next_bootloader == NO_SLOT) {
        *value = NO_BOOTLOADER;
        return 0;
    }
    *value =
        bootloader_record_description(bootloader_slot_bytes(dataflash, dataflash.next_bootloader));
    if (value->find('\n') != std::string::npos) {
        *reason = "the bootloader's description holds more than one line";
        return 1;
    }
    return 0;
}

} // namespace

std::vector<status_line> status_lines(const board_status& status)
{
    std::vector<status_line> lines;
    add_kernel(&lines, status.kernel);
    add_version(&lines, "root filesystem", status.rootfs);
    add_version(&lines, "applications", status.apps);
    add_dataflash(&lines, status);
    add_next(&lines, status);
    return lines;
}

void print_status_text(FILE* out, const std::vector<status_line>& lines)
{
    for (const status_line& line : lines) {
        fprintf(out, "%-*s%s\n", ITEM_COLUMNS, (line.item + ":").c_str(), line.text.c_str());
    }
}

void print_status_json(FILE* out, const board_status& status, const std::vector<status_line>& lines)
{
    json_object* document = json_object_new_object();
    json_object_object_add(document, "kernel_command_line", json_kernel(status.kernel));
    json_object_object_add(document, "board_id", json_number(status.kernel.board_id));
    json_object_object_add(document, "running_baseline",
                           status.kernel.baseline == NO_BASELINE
                               ? nullptr
                               : json_object_new_int(status.kernel.baseline));
    json_object* installed = json_object_new_object();
    json_object_object_add(installed, KEY_ROOTFS, json_version(status.rootfs));
    json_object_object_add(installed, KEY_APPS, json_version(status.apps));
    json_object_object_add(document, "installed", installed);
    json_object_object_add(document, "dataflash_readable",
                           json_object_new_boolean(status.dataflash.bootloader_result == 0));
    json_object* slots = json_object_new_array();
    for (int slot = 0; slot < BOOTLOADER_SLOT_COUNT; ++slot) {
        json_object_array_add(slots, json_bootloader_slot(status.dataflash, slot));
    }
    json_object_object_add(document, "bootloader_slots", slots);
    json_object* linux_slots = json_object_new_array();
    for (int baseline = 1; baseline <= 2; ++baseline) {
        json_object_array_add(linux_slots, json_linux_slot(status.dataflash, baseline));
    }
    json_object_object_add(document, "linux_slots", linux_slots);
    json_object_object_add(document, "next", json_next(status));
    json_object* problems = json_object_new_array();
    for (const status_line& line : lines) {
        if (line.problem) {
            json_object_array_add(problems, json_text(line.item + ": " + line.text));
        }
    }
    json_object_object_add(document, "problems", problems);
    fprintf(out, "%s\n",
            json_object_to_json_string_ext(document, JSON_C_TO_STRING_PRETTY |
                                                         JSON_C_TO_STRING_SPACED |
                                                         JSON_C_TO_STRING_NOSLASHESCAPE));
    json_object_put(document);
}

int installed_file_text(const board_status& status, std::string* text, std::string* reason)
{
    std::string bootloader_value;
    std::string rootfs_value;
    std::string apps_value;
    if (installed_bootloader_value(status.dataflash, &bootloader_value, reason) != 0 ||
        installed_version_value(status.rootfs, &rootfs_value, reason) != 0 ||
        installed_version_value(status.apps, &apps_value, reason) != 0) {
        return 1;
    }
    *text = std::string(KEY_BOOTLOADER) + "=" + bootloader_value + "\n" + KEY_ROOTFS + "=" +
            rootfs_value + "\n" + KEY_APPS + "=" + apps_value + "\n";
    return 0;
}
