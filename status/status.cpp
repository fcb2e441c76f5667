// SPDX-License-Identifier: MIT
#include "status/status.h"

#include "dataflash/records.h"
#include "dataflash/transfer.h"
#include "firmpack/byte_order.h"
#include "io/cmdline.h"
#include "ubi/version.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

constexpr int FIRST_BASELINE = 1;
constexpr int LAST_BASELINE = 2;

// A key's value as the update reads it, and without the trailing white space
// that the last word of the line carries, for showing.
std::string cmdline_value(const char* key, int* result)
{
    char value[CMDLINE_SIZE];
    *result = get_cmdline_param(key, value);
    std::string text = *result == 0 ? value : "";
    text.erase(text.find_last_not_of(" \t\n\v\f\r") + 1);
    return text;
}

bool erased(const uint8_t* record, uint32_t size)
{
    return std::all_of(record, record + size, [](uint8_t byte) { return byte == ERASED_BYTE; });
}

uint8_t* slot_in(std::array<uint8_t, ADMIN_AREA_SIZE>& area, int slot)
{
    return area.data() + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
}

// Judges both bootloader records on a copy, as the update does: a record
// whose header or image fails is marked invalid there.
void judge_bootloader(uint8_t* work_buffer, dataflash_status* dataflash)
{
    std::array<uint8_t, ADMIN_AREA_SIZE> judged = dataflash->bootloader_area;
    dataflash->next_bootloader_known = true;
    for (int slot = 0; slot < BOOTLOADER_SLOT_COUNT; ++slot) {
        uint8_t* record = slot_in(judged, slot);
        bootloader_state& state = dataflash->bootloader[static_cast<std::size_t>(slot)];
        const bool header_valid = bootloader_header_is_valid(record);
        const bool record_erased = erased(record, bootloader_admin_record::SIZE);
        if (validate_bootloader_record(record, work_buffer) != 0) {
            state = BOOTLOADER_IMAGE_UNREAD;
            dataflash->next_bootloader_known = false;
        } else if (!header_valid) {
            state = record_erased ? BOOTLOADER_ERASED : BOOTLOADER_CORRUPT;
        } else {
            state = get_le32(record + bootloader_admin_record::VALID) != 0
                        ? BOOTLOADER_GOOD
                        : BOOTLOADER_IMAGE_DAMAGED;
        }
    }
    dataflash->next_bootloader =
        dataflash->next_bootloader_known ? newest_bootloader_record(judged.data()) : NO_SLOT;
}

void judge_linux(uint32_t board_id, dataflash_status* dataflash)
{
    dataflash->next_baseline_known = true;
    dataflash->next_baseline = NO_BASELINE;
    uint32_t newest_sequence = 0;
    for (int baseline = FIRST_BASELINE; baseline <= LAST_BASELINE; ++baseline) {
        const uint8_t* record = linux_slot_bytes(*dataflash, baseline);
        linux_state& state = dataflash->linux_slots[static_cast<std::size_t>(baseline - 1)];
        if (!linux_record_is_valid(record, board_id)) {
            state = erased(record, linux_admin_record::SIZE) ? LINUX_ERASED : LINUX_INVALID;
            continue;
        }
        state = LINUX_VALID;
        // Baseline 2 must be strictly newer: with equal sequences baseline 1 wins.
        uint32_t sequence = get_le32(record + linux_admin_record::SEQUENCE);
        if (dataflash->next_baseline == NO_BASELINE || sequence > newest_sequence) {
            dataflash->next_baseline = baseline;
            newest_sequence = sequence;
        }
    }
}

} // namespace

const uint8_t* bootloader_slot_bytes(const dataflash_status& dataflash, int slot)
{
    return dataflash.bootloader_area.data() + ADMIN_SLOT_SIZE * static_cast<uint32_t>(slot);
}

const uint8_t* linux_slot_bytes(const dataflash_status& dataflash, int baseline)
{
    return dataflash.linux_area.data() +
           ADMIN_SLOT_SIZE * static_cast<uint32_t>(baseline - FIRST_BASELINE);
}

void read_kernel_status(kernel_status* kernel)
{
    *kernel = {};
    // A command line that cannot be read is read, and reported, once.
    kernel->board_io = cmdline_value(CMDLINE_KEY_BOARD_IO, &kernel->result);
    if (kernel->result == 0) {
        kernel->board_core = cmdline_value(CMDLINE_KEY_BOARD_CORE, &kernel->result);
        kernel->baseline_text = cmdline_value(CMDLINE_KEY_BASELINE, &kernel->result);
    }
    kernel->board_id = board_id_from_params(kernel->board_io.c_str(), kernel->board_core.c_str());
    long baseline = strtol(kernel->baseline_text.c_str(), nullptr, 10);
    kernel->baseline = baseline == FIRST_BASELINE || baseline == LAST_BASELINE
                           ? static_cast<int>(baseline)
                           : NO_BASELINE;
}

void read_version_status(const char* path, const char* label, version_status* version)
{
    *version = {path, label, 0, MAP_OPEN, false, ""};
    const uint8_t* file = nullptr;
    int32_t size = 0;
    version->result = map_file(path, &file, &size, &version->failed_step);
    if (version->result != 0) {
        return;
    }
    version_text buffer;
    const char* installed = nullptr;
    version->whole = compose_installed_version(label, file, static_cast<std::size_t>(size), &buffer,
                                               &installed) == 0;
    version->text = installed;
    // What was read stands whether or not the mapping could be released.
    static_cast<void>(unmap_image_file(file, size));
}

void read_dataflash_status(uint32_t board_id, uint8_t* work_buffer, dataflash_status* dataflash)
{
    dataflash->bootloader.fill(BOOTLOADER_UNREAD);
    dataflash->linux_slots.fill(LINUX_UNREAD);
    dataflash->next_bootloader_known = false;
    dataflash->next_baseline_known = false;
    dataflash->next_bootloader = NO_SLOT;
    dataflash->next_baseline = NO_BASELINE;
    dataflash->bootloader_result =
        dataflash_transfer(DATAFLASH_READ, dataflash->bootloader_area.data(),
                           BOOTLOADER_ADMIN_OFFSET, ADMIN_AREA_SIZE);
    // A dataflash that cannot be reached is reported once.
    dataflash->linux_result = dataflash->bootloader_result;
    if (dataflash->bootloader_result != 0) {
        return;
    }
    dataflash->linux_result = dataflash_transfer(DATAFLASH_READ, dataflash->linux_area.data(),
                                                 LINUX_ADMIN_OFFSET, ADMIN_AREA_SIZE);
    judge_bootloader(work_buffer, dataflash);
    if (dataflash->linux_result == 0) {
        judge_linux(board_id, dataflash);
    }
}

void read_board_status(board_status* status)
{
    read_kernel_status(&status->kernel);
    read_version_status(ROOTFS_VERSION_FILE, ROOTFS_LABEL, &status->rootfs);
    read_version_status(APPS_VERSION_FILE, APPS_LABEL, &status->apps);
    // Left uninitialised: only the pages an image is read into are touched.
    auto work_buffer = std::make_unique_for_overwrite<uint8_t[]>(DATAFLASH_SIZE);
    read_dataflash_status(status->kernel.board_id, work_buffer.get(), &status->dataflash);
}

restart_state restart_pending(const board_status& status)
{
    const int next = status.dataflash.next_baseline;
    if (next == NO_BASELINE || status.kernel.baseline == NO_BASELINE) {
        return RESTART_UNKNOWN;
    }
    return next == status.kernel.baseline ? RESTART_NOT_PENDING : RESTART_PENDING;
}
