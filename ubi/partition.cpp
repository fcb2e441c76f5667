// SPDX-License-Identifier: MIT
#include "ubi/partition.h"

#include "ubi/command.h"
#include "ubi/result.h"
#include "ubi/text.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mtd/ubi-user.h>

namespace {

// Where the kernel lists its MTD devices, one folder "mtd<N>" each.
constexpr const char* MTD_CLASS_DIR = "/sys/class/mtd";
constexpr const char* NAME_FILE_FORMAT = "%s/mtd%d/name";
// The class folder comes from the caller: a name file's path is held whole up
// to the longest path the kernel takes, and refused beyond.
constexpr std::size_t NAME_FILE_PATH_SIZE = PATH_MAX;
// A sysfs attribute holds at most one page, 4096 bytes with its NUL here.
constexpr std::size_t NAME_LINE_SIZE = 4096;

// Detaching is allowed to fail: the partition is often not attached at all.
constexpr const char* DETACH_COMMAND = "ubidetach /dev/ubi_ctrl -m %i 2> /dev/null";
constexpr const char* ERASE_COMMAND = "flash_eraseall -q /dev/mtd%i";
constexpr const char* ATTACH_COMMAND = "ubiattach /dev/ubi_ctrl -m %i -d %i > /dev/null";
constexpr const char* MAKE_VOLUME_COMMAND = "ubimkvol /dev/ubi%i -N %s -m > /dev/null";
// Room for each command line that takes only numbers.
constexpr std::size_t NUMBERS_COMMAND_SIZE =
    std::max({formatted_size(DETACH_COMMAND), formatted_size(ERASE_COMMAND),
              formatted_size(ATTACH_COMMAND)});
constexpr std::size_t MAKE_VOLUME_COMMAND_SIZE =
    formatted_size(MAKE_VOLUME_COMMAND, PARTITION_NAME_MAX);

static_assert(PARTITION_NAME_MAX == UBI_MAX_VOLUME_NAME);

enum name_match : int {
    NAME_MATCHES,
    NAME_DIFFERS,
    NAME_MISSING,
    NAME_UNCLOSED,
    NAME_PATH_TOO_LONG
};

// Whether device number's name file exists and its first line contains
// partition_name. An empty or unreadable file simply does not match.
name_match match_device_name(const char* class_dir, int number, const char* partition_name)
{
    char path[NAME_FILE_PATH_SIZE];
    if (!format_text(path, sizeof path, NAME_FILE_FORMAT, class_dir, number)) {
        return NAME_PATH_TOO_LONG;
    }
    FILE* file = fopen(path, "r");
    if (file == nullptr) {
        return NAME_MISSING;
    }
    char line[NAME_LINE_SIZE];
    bool found =
        fgets(line, sizeof line, file) != nullptr && strstr(line, partition_name) != nullptr;
    if (fclose(file) != 0 && !found) {
        return NAME_UNCLOSED;
    }
    return found ? NAME_MATCHES : NAME_DIFFERS;
}

} // namespace

int find_mtd_partition(const char* partition_name, int* mtd_number)
{
    return find_mtd_partition_in(MTD_CLASS_DIR, partition_name, mtd_number);
}

// The devices are numbered from 0 without gaps; the first missing number
// ends the scan, so a device after a gap is never seen.
int find_mtd_partition_in(const char* class_dir, const char* partition_name, int* mtd_number)
{
    for (int number = 0;; ++number) {
        switch (match_device_name(class_dir, number, partition_name)) {
        case NAME_MATCHES:
            *mtd_number = number;
            return 0;
        case NAME_DIFFERS:
            break;
        case NAME_MISSING:
            printf("ERROR: No useable MTD partition found\n");
            return UBI_INVALID;
        case NAME_UNCLOSED:
            return UBI_NAME_UNCLOSED;
        case NAME_PATH_TOO_LONG:
            return UBI_NAME_TOO_LONG;
        }
    }
}

int prepare_ubi_volume(int mtd_number, const char* partition_name)
{
    const int ubi_device = mtd_number + UBI_DEVICE_OFFSET;
    // Refused before the partition is touched when the name does not fit.
    char detach[NUMBERS_COMMAND_SIZE];
    char erase[NUMBERS_COMMAND_SIZE];
    char attach[NUMBERS_COMMAND_SIZE];
    char make_volume[MAKE_VOLUME_COMMAND_SIZE];
    if (!format_text(detach, sizeof detach, DETACH_COMMAND, mtd_number) ||
        !format_text(erase, sizeof erase, ERASE_COMMAND, mtd_number) ||
        !format_text(attach, sizeof attach, ATTACH_COMMAND, mtd_number, ubi_device) ||
        !format_text(make_volume, sizeof make_volume, MAKE_VOLUME_COMMAND, ubi_device,
                     partition_name)) {
        return UBI_NAME_TOO_LONG;
    }

    (void)pipe_to_command(detach, nullptr, 0);
    int result = pipe_to_command(erase, nullptr, 0);
    if (result != 0) {
        return result;
    }
    result = pipe_to_command(attach, nullptr, 0);
    if (result != 0) {
        return result;
    }
    return pipe_to_command(make_volume, nullptr, 0);
}
