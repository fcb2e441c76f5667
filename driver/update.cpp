#include "driver/update.h"

#include "dataflash/admin.h"
#include "dataflash/bootloader.h"
#include "dataflash/layout.h"
#include "dataflash/legacy.h"
#include "driver/cmdline.h"
#include "firmpack/extent.h"
#include "firmpack/fit.h"
#include "firmpack/lookup.h"
#include "firmpack/verify.h"
#include "ubi/install.h"
#include "ubi/version.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libfdt.h>

namespace {

// Scratch space lent to the bootloader operations: the size of the dataflash.
constexpr uint32_t WORK_BUFFER_SIZE = DATAFLASH_SIZE;

// "board_0x" and up to eight hexadecimal digits.
constexpr std::size_t CONFIG_NAME_SIZE = 17;

// The partition layout this tool installs; any other is left to the boot loader.
constexpr int CURRENT_PARTITIONING = 2;
constexpr const char* PARTITION_ID_PREFIX = "partition ID";
constexpr uint32_t PARTITION_ID_MAX_SIZE = 5;

constexpr const char* ROOT_VERSION_FILE = "/version";
constexpr const char* APPS_VERSION_FILE = "/mnt/apps/version";
constexpr const char* ROOT_LABEL = "filesystem";
constexpr const char* APPS_LABEL = "applications";
constexpr const char* KEY_BASELINE = "baseline";

constexpr int RESULT_OUT_OF_MEMORY = ENOMEM;   // 12
constexpr int RESULT_INVALID = EINVAL;         // 22
constexpr int RESULT_NO_PARTITION_ID = ENOSYS; // 38
constexpr int RESULT_VERSION_MISMATCH = EBADF; // 9
constexpr int RESULT_BAD_BASELINE = EBADF;     // 9
constexpr int RESULT_NOTHING_TO_UPDATE = -1;

constexpr const char* BANNER_RULE = "   --------------------------------------";
constexpr const char* BANNER_NOTHING_TO_DO = "   -------- No SW Update required -------";
constexpr const char* BANNER_START = "   --------- Starting SW Update ---------";
constexpr const char* BANNER_SUCCESS = "   -------- SW Update Completed ---------";
constexpr const char* BANNER_FAILURE = "   -------- SW Update FAILED !! ---------";

// Process-wide, like every resource of the tool: obtained once, kept until exit.
uint8_t* work_buffer;

// What the update carries from step to step. Every text points into the
// firmpacks, which stay mapped for the whole run.
struct update_work {
    const uint8_t* os_fit;
    const uint8_t* app_fit;
    const char* os_display_name;
    const char* app_display_name;
    uint32_t board_id;

    char config_name[CONFIG_NAME_SIZE];
    int config;
    int fdt_image;

    const char* bootloader_name;
    const char* os_filesystem_name;
    const char* app_filesystem_name;
    const char* os_filesystem_description;
    const char* app_filesystem_description;
    const char* bootloader_description;

    uint32_t bootloader_changed;
    uint32_t rootfs_changed;
    uint32_t apps_changed;

    int current_baseline;
    int updating_baseline;
    char text[CMDLINE_SIZE]; // the value of "baseline", later the partition names
};

enum acceptance { PAIR_REFUSED, PAIR_LEGACY, PAIR_ACCEPTED };

void print_banner(const char* middle)
{
    printf("%s\n%s\n%s\n", BANNER_RULE, middle, BANNER_RULE);
}

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

// Both firmpacks intact, before anything else is believed of them.
int check_integrity(const update_work* work)
{
    if (!firmpack_is_intact(work->os_fit)) {
        printf("file %s is corrupt, stopping upgrade\n", work->os_display_name);
        return RESULT_INVALID;
    }
    if (!firmpack_is_intact(work->app_fit)) {
        printf("file %s is corrupt, stopping upgrade\n", work->app_display_name);
        return RESULT_INVALID;
    }
    printf("## Both firmpacks are consistent\n");
    return 0;
}

int find_board_configuration(update_work* work)
{
    snprintf(work->config_name, sizeof work->config_name, "board_0x%4.4x", work->board_id);
    work->config = firmpack_config_node(work->os_fit, work->config_name);
    if (work->config < 0) {
        printf("Invalid firmpack for this board (Board 0x%4.4x not defined)\n", work->board_id);
        return RESULT_INVALID;
    }
    work->fdt_image = firmpack_config_fdt(work->os_fit, work->config);
    if (work->fdt_image < 0) {
        printf("ERROR: Firmpack does not contain an FDT node Firmpack is corrupt!\n");
        return RESULT_INVALID;
    }
    return 0;
}

// A new-style firmpack for the current partitioning carries a filesystem
// package and an FDT package that says "partition ID" 2; anything else is a
// legacy firmpack, which the boot loader installs itself.
acceptance check_partition_id(const update_work* work, int* result)
{
    if (firmpack_config_filesystem(work->os_fit, work->config) < 0) {
        return PAIR_LEGACY;
    }
    const char* description = nullptr;
    if (firmpack_get_description(work->os_fit, work->fdt_image, &description) != 0) {
        printf("No Description for FDT package\n");
        *result = RESULT_NO_PARTITION_ID;
        return PAIR_REFUSED;
    }
    if (strncmp(description, PARTITION_ID_PREFIX, strlen(PARTITION_ID_PREFIX)) != 0) {
        printf("   -> Firmpack does not contain a partition ID field . Firmpack is a legacy "
               "firmpack!\n");
        return PAIR_LEGACY;
    }
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(work->os_fit, work->fdt_image, &data, &size) != 0) {
        printf("Could not find partition ID subimage data\n");
        *result = RESULT_NO_PARTITION_ID;
        return PAIR_REFUSED;
    }
    if (size == 0 || size > PARTITION_ID_MAX_SIZE) {
        printf("ERROR: partition ID field length zero or longer than 5 digits???? Assuming "
               "Firmpack is a legacy firmpack! (len:%i)\n",
               static_cast<int>(size));
        return PAIR_LEGACY;
    }
    int partition_id = parse_partition_id(data, size);
    if (partition_id != CURRENT_PARTITIONING) {
        printf("   -> Firmpack partition IDs does not match current partitioning. Make the "
               "bootloader handle the update!(curr:%i, fp:%i)\n",
               CURRENT_PARTITIONING, partition_id);
        return PAIR_LEGACY;
    }
    return PAIR_ACCEPTED;
}

// The APP firmpack's version is "<anything>:<OS version>".
int check_version_pairing(const update_work* work)
{
    const char* os_version = nullptr;
    const char* app_version = nullptr;
    if (firmpack_get_description(work->os_fit, 0, &os_version) != 0) {
        printf("OS firmpack does not contain version string\n");
        return RESULT_INVALID;
    }
    if (firmpack_get_description(work->app_fit, 0, &app_version) != 0) {
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

acceptance accept_firmpacks(update_work* work, int* result)
{
    *result = check_integrity(work);
    if (*result == 0) {
        *result = find_board_configuration(work);
    }
    if (*result != 0) {
        return PAIR_REFUSED;
    }
    acceptance verdict = check_partition_id(work, result);
    if (verdict != PAIR_ACCEPTED) {
        return verdict;
    }
    *result = check_version_pairing(work);
    return *result == 0 ? PAIR_ACCEPTED : PAIR_REFUSED;
}

int find_packages(update_work* work)
{
    int bootloader = firmpack_config_firmware(work->os_fit, work->config);
    if (bootloader < 0) {
        printf("Firmpack does not contain a 'firmware =' definition\n");
        return RESULT_INVALID;
    }
    work->bootloader_name = fdt_get_name(work->os_fit, bootloader, nullptr);
    int result = lookup_board_filesystem(work->os_fit, &work->os_filesystem_name, work->board_id);
    if (result != 0) {
        return result;
    }
    return lookup_board_filesystem(work->app_fit, &work->app_filesystem_name, work->board_id);
}

int find_descriptions(update_work* work)
{
    int result = lookup_package(work->os_fit, work->os_display_name, work->os_filesystem_name,
                                &work->os_filesystem_description);
    if (result != 0) {
        return result;
    }
    result = lookup_package(work->app_fit, work->app_display_name, work->app_filesystem_name,
                            &work->app_filesystem_description);
    if (result != 0) {
        return result;
    }
    return lookup_package(work->os_fit, work->os_display_name, work->bootloader_name,
                          &work->bootloader_description);
}

// Which of the three packages differ from what the board holds.
int check_changes(update_work* work)
{
    int result = libsu_is_update_required(LIBSU_TYPE_BOOTLOADER, work->bootloader_description,
                                          work_buffer, &work->bootloader_changed);
    if (result != 0) {
        return result;
    }
    result = check_update_required(work->os_filesystem_description, work->os_filesystem_name,
                                   &work->rootfs_changed, ROOT_VERSION_FILE, ROOT_LABEL, 0);
    if (result != 0) {
        return result;
    }
    return check_update_required(work->app_filesystem_description, work->app_filesystem_name,
                                 &work->apps_changed, APPS_VERSION_FILE, APPS_LABEL, 0);
}

// The update always writes the slot that is not running.
int choose_baseline(update_work* work)
{
    (void)get_cmdline_param(KEY_BASELINE, work->text);
    work->current_baseline = static_cast<int>(strtol(work->text, nullptr, 10));
    if (work->current_baseline == 1) {
        work->updating_baseline = 2;
    } else if (work->current_baseline == 2) {
        work->updating_baseline = 1;
    } else {
        printf("Unexpected baseline to boot from:%i\n", work->current_baseline - 1);
        return RESULT_BAD_BASELINE;
    }
    printf("   Current baseline:%i, Updating baseline:%i\n", work->current_baseline,
           work->updating_baseline);
    return 0;
}

// The new bootloader goes into the free slot; it becomes the one the boot
// loader starts only when it is made persistent at the very end.
int store_bootloader(const update_work* work)
{
    printf("## Preparing bootloader update...\n");
    int image = firmpack_image_node(work->os_fit, work->bootloader_name);
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(work->os_fit, image, &data, &size) != 0) {
        printf("Could not find script subimage data\n");
        return RESULT_NO_PARTITION_ID;
    }
    return libsu_store_package(LIBSU_TYPE_BOOTLOADER, work->bootloader_description, data, size,
                               work_buffer);
}

// Both filesystems of the slot being updated, then their administration record.
int install_filesystems(update_work* work)
{
    printf("## Preparing root and applications filesystems...\n");
    snprintf(work->text, sizeof work->text, "rootfs%i", work->updating_baseline);
    int result = store_fs_in_flash(work->os_fit, work->os_filesystem_name, work->text, ROOT_LABEL);
    if (result != 0) {
        return result;
    }
    snprintf(work->text, sizeof work->text, "apps%i", work->updating_baseline);
    result = store_fs_in_flash(work->app_fit, work->app_filesystem_name, work->text, APPS_LABEL);
    if (result != 0) {
        return result;
    }
    printf("## Finalising root and applications filesystems update...\n");
    return finalise_fs_update(work->current_baseline, work->updating_baseline, work->board_id);
}

int install_changes(update_work* work)
{
    int result = 0;
    if (work->bootloader_changed != 0) {
        result = store_bootloader(work);
    }
    if (result == 0 && (work->rootfs_changed != 0 || work->apps_changed != 0)) {
        result = install_filesystems(work);
    }
    if (result == 0 && work->bootloader_changed != 0) {
        printf("## Finalising bootloader update...\n");
        result = libsu_make_update_persistent(LIBSU_TYPE_BOOTLOADER);
    }
    return result;
}

// The second phase: what changed, which slot, and the installation itself.
int plan_and_install(update_work* work)
{
    int result = find_packages(work);
    if (result != 0) {
        return result;
    }
    printf("## Checking versions:\n");
    result = find_descriptions(work);
    if (result == 0) {
        result = check_changes(work);
    }
    if (result != 0) {
        return result;
    }
    if (work->bootloader_changed == 0 && work->rootfs_changed == 0 && work->apps_changed == 0) {
        print_banner(BANNER_NOTHING_TO_DO);
        return RESULT_NOTHING_TO_UPDATE;
    }
    print_banner(BANNER_START);
    result = choose_baseline(work);
    if (result != 0) {
        return result;
    }
    result = install_changes(work);
    print_banner(result == 0 ? BANNER_SUCCESS : BANNER_FAILURE);
    return result;
}

} // namespace

int run_update(const uint8_t* os_fit, const uint8_t* app_fit, const char* os_display_name,
               const char* app_display_name, uint32_t board_id)
{
    if (work_buffer == nullptr) {
        work_buffer = static_cast<uint8_t*>(malloc(WORK_BUFFER_SIZE));
    }
    if (work_buffer == nullptr) {
        fprintf(stderr, "Out of memory\n");
        return RESULT_OUT_OF_MEMORY;
    }

    update_work work{};
    work.os_fit = os_fit;
    work.app_fit = app_fit;
    work.os_display_name = os_display_name;
    work.app_display_name = app_display_name;
    work.board_id = board_id;

    int result = 0;
    switch (accept_firmpacks(&work, &result)) {
    case PAIR_REFUSED:
        return result;
    case PAIR_LEGACY:
        printf("## Both firmpacks match together\n");
        return install_legacy_firmpacks();
    case PAIR_ACCEPTED:
        printf("## Both firmpacks match together\n");
        return plan_and_install(&work);
    }
    return result;
}
