// SPDX-License-Identifier: MIT
#include "driver/acceptance.h"

#include "driver/result.h"
#include "firmpack/fit.h"
#include "firmpack/lookup.h"
#include "firmpack/structure.h"
#include "firmpack/verify.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libfdt.h>

namespace {

// The decimal layout number at the start of the partition ID data, which holds
// at most five bytes and need not be terminated.
int parse_partition_id(const uint8_t* data, uint32_t size)
{
    char digits[PARTITION_ID_MAX_SIZE + 1] = {};
    memcpy(digits, data, size);
    return static_cast<int>(strtol(digits, nullptr, 10));
}

// A well-formed tree whose every image matches its hash records.
bool firmpack_is_intact(const uint8_t* fit)
{
    return firmpack_check_structure(fit) == 0 && firmpack_check_hashes(fit) != 0;
}

int find_board_configuration(firmpack_pair* pair)
{
    pair->config = firmpack_board_config(pair->os_fit, pair->board_id);
    if (pair->config < 0) {
        printf("Invalid firmpack for this board (Board 0x%4.4x not defined)\n", pair->board_id);
        return RESULT_INVALID;
    }
    pair->fdt_image = firmpack_config_fdt(pair->os_fit, pair->config);
    if (pair->fdt_image < 0) {
        printf("ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!\n");
        return RESULT_INVALID;
    }
    return 0;
}

// A new-style firmpack for the current partitioning carries a filesystem
// package and an FDT package that says "partition ID" 2; anything else is a
// legacy firmpack, which the boot loader installs itself.
pair_verdict check_partition_id(firmpack_pair* pair, int* result)
{
    if (firmpack_config_filesystem(pair->os_fit, pair->config) < 0) {
        pair->legacy = LEGACY_NO_FILESYSTEM;
        return PAIR_LEGACY;
    }
    const char* description = nullptr;
    if (firmpack_get_description(pair->os_fit, pair->fdt_image, &description) != 0) {
        printf("No Description for FDT package\n");
        *result = RESULT_NO_PARTITION_ID;
        return PAIR_REFUSED;
    }
    if (strncmp(description, PARTITION_ID_PREFIX, strlen(PARTITION_ID_PREFIX)) != 0) {
        printf("   -> Firmpack does not contain a partition ID field . Firmpack is a legacy "
               "firmpack!\n");
        pair->legacy = LEGACY_NO_PARTITION_ID;
        return PAIR_LEGACY;
    }
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(pair->os_fit, pair->fdt_image, &data, &size) != 0) {
        printf("Could not find partition ID subimage data\n");
        *result = RESULT_NO_PARTITION_ID;
        return PAIR_REFUSED;
    }
    if (size == 0 || size > PARTITION_ID_MAX_SIZE) {
        printf("ERROR: partition ID field length zero or longer than 5 digits???? Assuming "
               "Firmpack is a legacy firmpack! (len:%i)\n",
               static_cast<int>(size));
        pair->legacy = LEGACY_PARTITION_ID_LENGTH;
        return PAIR_LEGACY;
    }
    pair->partition_id = parse_partition_id(data, size);
    if (pair->partition_id != CURRENT_PARTITIONING) {
        printf("   -> Firmpack partition IDs does not match current partitioning. Make the "
               "bootloader handle the update!(curr:%i, fp:%i)\n",
               CURRENT_PARTITIONING, pair->partition_id);
        pair->legacy = LEGACY_OTHER_PARTITIONING;
        return PAIR_LEGACY;
    }
    return PAIR_ACCEPTED;
}

// The APP firmpack's version is "<anything>:<OS version>".
int check_version_pairing(const firmpack_pair* pair)
{
    const char* os_version = nullptr;
    const char* app_version = nullptr;
    if (firmpack_get_description(pair->os_fit, 0, &os_version) != 0) {
        printf("OS firmpack does not contain version string\n");
        return RESULT_INVALID;
    }
    if (firmpack_get_description(pair->app_fit, 0, &app_version) != 0) {
        printf("APP firmpack does not contain version string\n");
        return RESULT_INVALID;
    }
    const char* colon = strchr(app_version, ':');
    const char* found = colon != nullptr ? colon + 1 : app_version;
    if (colon == nullptr || strcmp(found, os_version) != 0) {
        printf("Application firmpack version and OS-firmpack version do not match:\n"
               "\t- Expected: '%s'\n\t- Found   : '%s'\n",
               os_version, found);
        return RESULT_VERSION_MISMATCH;
    }
    return 0;
}

} // namespace

int check_pair_integrity(const firmpack_pair* pair)
{
    if (!firmpack_is_intact(pair->os_fit)) {
        printf("file %s is corrupt, stopping upgrade\n", pair->os_display_name);
        return RESULT_INVALID;
    }
    if (!firmpack_is_intact(pair->app_fit)) {
        printf("file %s is corrupt, stopping upgrade\n", pair->app_display_name);
        return RESULT_INVALID;
    }
    printf("## Both firmpacks are consistent\n");
    return 0;
}

pair_verdict check_pair_acceptance(firmpack_pair* pair, int* result)
{
    pair->partition_id = -1;
    pair->legacy = LEGACY_NONE;
    *result = find_board_configuration(pair);
    if (*result != 0) {
        return PAIR_REFUSED;
    }
    pair_verdict verdict = check_partition_id(pair, result);
    if (verdict != PAIR_ACCEPTED) {
        return verdict;
    }
    *result = check_version_pairing(pair);
    return *result == 0 ? PAIR_ACCEPTED : PAIR_REFUSED;
}

int find_pair_packages(firmpack_pair* pair)
{
    int bootloader = firmpack_config_firmware(pair->os_fit, pair->config);
    if (bootloader < 0) {
        printf("Firmpack does not contain a 'firmware =' definition\n");
        return RESULT_INVALID;
    }
    pair->bootloader_name = fdt_get_name(pair->os_fit, bootloader, nullptr);
    int result = lookup_board_filesystem(pair->os_fit, &pair->os_filesystem_name, pair->board_id);
    if (result != 0) {
        return result;
    }
    return lookup_board_filesystem(pair->app_fit, &pair->app_filesystem_name, pair->board_id);
}

int find_pair_descriptions(firmpack_pair* pair)
{
    int result = lookup_package(pair->os_fit, pair->os_display_name, pair->os_filesystem_name,
                                &pair->os_filesystem_description);
    if (result != 0) {
        return result;
    }
    result = lookup_package(pair->app_fit, pair->app_display_name, pair->app_filesystem_name,
                            &pair->app_filesystem_description);
    if (result != 0) {
        return result;
    }
    return lookup_package(pair->os_fit, pair->os_display_name, pair->bootloader_name,
                          &pair->bootloader_description);
}
