// SPDX-License-Identifier: MIT
#include "acceptance/pair.h"

#include "acceptance/result.h"
#include "acceptance/signed.h"
#include "firmpack/extent.h"
#include "firmpack/fit.h"
#include "firmpack/lookup.h"
#include "firmpack/structure.h"
#include "firmpack/verify.h"
#include "io/status.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libfdt.h>

namespace {

int refuse_corrupt(const firmpack_input& firmpack)
{
    printf("file %s is corrupt, stopping upgrade\n", firmpack.display_name);
    return ACCEPT_INVALID;
}

// A well-formed tree whose every image matches its hash records.
bool is_intact(const firmpack_input& firmpack, hash_set set)
{
    const bool well_formed = firmpack_check_structure(firmpack.fit) == 0;
    status_begin(PHASE_HASHES, firmpack.display_name,
                 well_formed && status_active() ? firmpack_hash_bytes(firmpack.fit, set) : 0);
    if (!well_formed || !firmpack_check_hashes(firmpack.fit, set)) {
        return false;
    }
    status_end();
    return true;
}

// The decimal layout number at the start of the partition ID data, which holds
// at most five bytes and need not be terminated.
int parse_partition_id(const uint8_t* data, uint32_t size)
{
    char digits[PARTITION_ID_MAX_SIZE + 1] = {};
    memcpy(digits, data, size);
    return static_cast<int>(strtol(digits, nullptr, 10));
}

int find_board_configuration(firmpack_pair* pair)
{
    pair->config = firmpack_board_config(pair->os.fit, pair->board_id);
    if (pair->config < 0) {
        printf("Invalid firmpack for this board (Board 0x%4.4x not defined)\n", pair->board_id);
        return ACCEPT_INVALID;
    }
    pair->fdt_image = firmpack_config_fdt(pair->os.fit, pair->config);
    if (pair->fdt_image < 0) {
        printf("ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!\n");
        return ACCEPT_INVALID;
    }
    return 0;
}

// A new-style firmpack for the current partitioning carries a filesystem
// package and an FDT package that says "partition ID" 2; anything else is a
// legacy firmpack, which the boot loader installs itself.
pair_verdict check_partition_id(firmpack_pair* pair, int* result)
{
    if (firmpack_config_filesystem(pair->os.fit, pair->config) < 0) {
        pair->legacy = LEGACY_NO_FILESYSTEM;
        return PAIR_LEGACY;
    }
    const char* description = nullptr;
    if (firmpack_get_description(pair->os.fit, pair->fdt_image, &description) != 0) {
        printf("No Description for FDT package\n");
        *result = ACCEPT_NO_PARTITION_ID;
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
    if (firmpack_get_data(pair->os.fit, pair->fdt_image, &data, &size) != 0) {
        printf("Could not find partition ID subimage data\n");
        *result = ACCEPT_NO_PARTITION_ID;
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
    if (firmpack_get_description(pair->os.fit, 0, &os_version) != 0) {
        printf("OS firmpack does not contain version string\n");
        return ACCEPT_INVALID;
    }
    if (firmpack_get_description(pair->app.fit, 0, &app_version) != 0) {
        printf("APP firmpack does not contain version string\n");
        return ACCEPT_INVALID;
    }
    const char* colon = strchr(app_version, ':');
    const char* found = colon != nullptr ? colon + 1 : app_version;
    if (colon == nullptr || strcmp(found, os_version) != 0) {
        printf("Application firmpack version and OS-firmpack version do not match:\n"
               "\t- Expected: '%s'\n\t- Found   : '%s'\n",
               os_version, found);
        return ACCEPT_VERSION_MISMATCH;
    }
    return 0;
}

// The names of the bootloader and both filesystem packages.
int find_packages(firmpack_pair* pair)
{
    int bootloader = firmpack_config_firmware(pair->os.fit, pair->config);
    if (bootloader < 0) {
        printf("Firmpack does not contain a 'firmware =' definition\n");
        return ACCEPT_INVALID;
    }
    pair->bootloader.name = fdt_get_name(pair->os.fit, bootloader, nullptr);
    int result = lookup_board_filesystem(pair->os.fit, &pair->os_filesystem.name, pair->board_id);
    if (result != 0) {
        return result;
    }
    return lookup_board_filesystem(pair->app.fit, &pair->app_filesystem.name, pair->board_id);
}

// The three packages with their descriptions, which the version check compares.
int read_packages(firmpack_pair* pair)
{
    printf("## Checking versions:\n");
    int result = lookup_package(pair->os.fit, pair->os.display_name, pair->os_filesystem.name,
                                &pair->os_filesystem);
    if (result != 0) {
        return result;
    }
    result = lookup_package(pair->app.fit, pair->app.display_name, pair->app_filesystem.name,
                            &pair->app_filesystem);
    if (result != 0) {
        return result;
    }
    return lookup_package(pair->os.fit, pair->os.display_name, pair->bootloader.name,
                          &pair->bootloader);
}

pair_verdict accept_packages(firmpack_pair* pair, int* result)
{
    *result = find_packages(pair);
    if (*result == 0) {
        *result = read_packages(pair);
    }
    return *result == 0 ? PAIR_ACCEPTED : PAIR_REFUSED;
}

} // namespace

int accept_firmpacks(const firmpack_pair* pair)
{
    // Every reader after the extent trusts the total size in the header.
    if (firmpack_check_extent(pair->os.fit, pair->os.size) != 0) {
        return refuse_corrupt(pair->os);
    }
    if (firmpack_check_extent(pair->app.fit, pair->app.size) != 0) {
        return refuse_corrupt(pair->app);
    }
    const hash_set set = key_file_present(pair->key_file) ? HASHES_SIGNED : HASHES_UNSIGNED;
    if (!is_intact(pair->os, set)) {
        return refuse_corrupt(pair->os);
    }
    if (!is_intact(pair->app, set)) {
        return refuse_corrupt(pair->app);
    }
    return 0;
}

pair_verdict accept_board(firmpack_pair* pair, int* result)
{
    status_begin(PHASE_ACCEPTANCE, nullptr, 0);
    if (key_file_present(pair->key_file)) {
        *result = check_pair_signatures(pair);
        if (*result != 0) {
            return PAIR_REFUSED;
        }
    }
    printf("## Both firmpacks are consistent\n");
    *result = find_board_configuration(pair);
    if (*result != 0) {
        return PAIR_REFUSED;
    }
    pair_verdict verdict = check_partition_id(pair, result);
    if (verdict == PAIR_ACCEPTED) {
        *result = check_version_pairing(pair);
        verdict = *result == 0 ? PAIR_ACCEPTED : PAIR_REFUSED;
    }
    if (verdict == PAIR_REFUSED) {
        return verdict;
    }
    printf("## Both firmpacks match together\n");
    if (verdict == PAIR_ACCEPTED) {
        verdict = accept_packages(pair, result);
    }
    if (verdict != PAIR_REFUSED) {
        status_end();
    }
    return verdict;
}

pair_verdict accept_pair(firmpack_pair* pair, int* result)
{
    *result = accept_firmpacks(pair);
    return *result == 0 ? accept_board(pair, result) : PAIR_REFUSED;
}
