// SPDX-License-Identifier: MIT
#include "driver/update.h"

#include "dataflash/admin.h"
#include "dataflash/bootloader.h"
#include "dataflash/layout.h"
#include "dataflash/legacy.h"
#include "driver/acceptance.h"
#include "driver/cmdline.h"
#include "driver/result.h"
#include "firmpack/fit.h"
#include "ubi/install.h"
#include "ubi/version.h"

#include <cstdio>
#include <cstdlib>

namespace {

// Scratch space lent to the bootloader operations: the size of the dataflash.
constexpr uint32_t WORK_BUFFER_SIZE = DATAFLASH_SIZE;

constexpr const char* ROOT_VERSION_FILE = "/version";
constexpr const char* APPS_VERSION_FILE = "/mnt/apps/version";
constexpr const char* KEY_BASELINE = "baseline";

constexpr const char* BANNER_RULE = "   --------------------------------------";
constexpr const char* BANNER_NOTHING_TO_DO = "   -------- No SW Update required -------";
constexpr const char* BANNER_START = "   --------- Starting SW Update ---------";
constexpr const char* BANNER_SUCCESS = "   -------- SW Update Completed ---------";
constexpr const char* BANNER_FAILURE = "   -------- SW Update FAILED !! ---------";

// Process-wide, like every resource of the tool: obtained once, kept until exit.
uint8_t* work_buffer;

// What the update carries from step to step: the pair and its packages, then
// what differs from the board and which slot is written.
struct update_work {
    firmpack_pair pair;

    uint32_t bootloader_changed;
    uint32_t rootfs_changed;
    uint32_t apps_changed;

    int current_baseline;
    int updating_baseline;
    char text[CMDLINE_SIZE]; // the value of "baseline", later the partition names
};

void print_banner(const char* middle)
{
    printf("%s\n%s\n%s\n", BANNER_RULE, middle, BANNER_RULE);
}

// Which of the three packages differ from what the board holds.
int check_changes(update_work* work)
{
    int result = libsu_is_update_required(LIBSU_TYPE_BOOTLOADER, work->pair.bootloader_description,
                                          work_buffer, &work->bootloader_changed);
    if (result != 0) {
        return result;
    }
    result = check_update_required(work->pair.os_filesystem_description,
                                   work->pair.os_filesystem_name, &work->rootfs_changed,
                                   ROOT_VERSION_FILE, ROOTFS_LABEL, VERSION_CHECK);
    if (result != 0) {
        return result;
    }
    return check_update_required(work->pair.app_filesystem_description,
                                 work->pair.app_filesystem_name, &work->apps_changed,
                                 APPS_VERSION_FILE, APPS_LABEL, VERSION_CHECK);
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
    int image = firmpack_image_node(work->pair.os_fit, work->pair.bootloader_name);
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(work->pair.os_fit, image, &data, &size) != 0) {
        printf("Could not find script subimage data\n");
        return RESULT_NO_PARTITION_ID;
    }
    return libsu_store_package(LIBSU_TYPE_BOOTLOADER, work->pair.bootloader_description, data, size,
                               work_buffer);
}

// Both filesystems of the slot being updated, then their administration record.
int install_filesystems(update_work* work)
{
    printf("## Preparing root and applications filesystems...\n");
    snprintf(work->text, sizeof work->text, "rootfs%i", work->updating_baseline);
    int result = store_fs_in_flash(work->pair.os_fit, work->pair.os_filesystem_name, work->text,
                                   ROOTFS_LABEL);
    if (result != 0) {
        return result;
    }
    snprintf(work->text, sizeof work->text, "apps%i", work->updating_baseline);
    result = store_fs_in_flash(work->pair.app_fit, work->pair.app_filesystem_name, work->text,
                               APPS_LABEL);
    if (result != 0) {
        return result;
    }
    printf("## Finalising root and applications filesystems update...\n");
    return finalise_fs_update(work->current_baseline, work->updating_baseline, work->pair.board_id);
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
    int result = find_pair_packages(&work->pair);
    if (result != 0) {
        return result;
    }
    printf("## Checking versions:\n");
    result = find_pair_descriptions(&work->pair);
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
    work.pair.os_fit = os_fit;
    work.pair.app_fit = app_fit;
    work.pair.os_display_name = os_display_name;
    work.pair.app_display_name = app_display_name;
    work.pair.board_id = board_id;

    int result = check_pair_integrity(&work.pair);
    if (result != 0) {
        return result;
    }
    switch (check_pair_acceptance(&work.pair, &result)) {
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
