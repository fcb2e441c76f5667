// SPDX-License-Identifier: MIT
#include "driver/update.h"

#include "dataflash/bootloader.h"
#include "dataflash/layout.h"
#include "dataflash/linux_admin.h"
#include "driver/result.h"
#include "io/cmdline.h"
#include "io/status.h"
#include "ubi/install.h"
#include "ubi/version.h"

#include <cstdio>
#include <cstdlib>

namespace {

// Scratch space lent to the bootloader operations: the size of the dataflash.
constexpr uint32_t WORK_BUFFER_SIZE = DATAFLASH_SIZE;

// The keys a signed board verifies its firmpacks with, fixed when the tool is built.
constexpr const char* KEY_FILE = FPU_KEY_FILE;
// What the records phases of the status stream are about.
constexpr const char* RECORD_OF_FILESYSTEMS = "filesystems";
constexpr const char* RECORD_OF_BOOTLOADER = "bootloader";

constexpr const char* BANNER_RULE = "   --------------------------------------";
constexpr const char* BANNER_NOTHING_TO_DO = "   -------- No SW Update required -------";
constexpr const char* BANNER_START = "   --------- Starting SW Update ---------";
constexpr const char* BANNER_SUCCESS = "   -------- SW Update Completed ---------";
constexpr const char* BANNER_FAILURE = "   -------- SW Update FAILED !! ---------";

// What the update carries from step to step: the pair and its packages, the
// scratch buffer lent to the bootloader operations, then what differs from
// the board and which slot is written.
struct update_work {
    firmpack_pair pair;
    uint8_t* buffer; // WORK_BUFFER_SIZE bytes

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
    const firmpack_pair& pair = work->pair;
    int result = libsu_is_update_required(LIBSU_TYPE_BOOTLOADER, pair.bootloader.description,
                                          work->buffer, &work->bootloader_changed);
    if (result != 0) {
        return result;
    }
    result = check_update_required(pair.os_filesystem.description, pair.os_filesystem.name,
                                   &work->rootfs_changed, ROOTFS_VERSION_FILE, ROOTFS_LABEL,
                                   VERSION_CHECK);
    if (result != 0) {
        return result;
    }
    return check_update_required(pair.app_filesystem.description, pair.app_filesystem.name,
                                 &work->apps_changed, APPS_VERSION_FILE, APPS_LABEL, VERSION_CHECK);
}

// The update always writes the slot that is not running.
int choose_baseline(update_work* work)
{
    (void)get_cmdline_param(CMDLINE_KEY_BASELINE, work->text);
    work->current_baseline = static_cast<int>(strtol(work->text, nullptr, 10));
    if (work->current_baseline == 1) {
        work->updating_baseline = 2;
    } else if (work->current_baseline == 2) {
        work->updating_baseline = 1;
    } else {
        printf("Unexpected baseline to boot from:%i\n", work->current_baseline - 1);
        return UPDATE_BAD_BASELINE;
    }
    printf("   Current baseline:%i, Updating baseline:%i\n", work->current_baseline,
           work->updating_baseline);
    return 0;
}

// The new bootloader goes into the free slot; it becomes the one the boot
// loader starts only when it is made persistent at the very end.
int store_bootloader(const update_work* work)
{
    const firmpack_package& bootloader = work->pair.bootloader;
    status_begin(PHASE_BOOTLOADER, bootloader.name, bootloader.size);
    printf("## Preparing bootloader update...\n");
    if (bootloader.data == nullptr) {
        printf("Could not find script subimage data\n");
        return UPDATE_NO_BOOTLOADER_DATA;
    }
    int result = libsu_store_package(LIBSU_TYPE_BOOTLOADER, bootloader.description, bootloader.data,
                                     bootloader.size, work->buffer);
    if (result == 0) {
        status_advance(bootloader.size);
        status_end();
    }
    return result;
}

// Both filesystems of the slot being updated, then their administration record.
int install_filesystems(update_work* work)
{
    printf("## Preparing root and applications filesystems...\n");
    snprintf(work->text, sizeof work->text, "rootfs%i", work->updating_baseline);
    int result = store_fs_in_flash(work->pair.os.fit, work->pair.os_filesystem.name, work->text,
                                   ROOTFS_LABEL);
    if (result != 0) {
        return result;
    }
    snprintf(work->text, sizeof work->text, "apps%i", work->updating_baseline);
    result = store_fs_in_flash(work->pair.app.fit, work->pair.app_filesystem.name, work->text,
                               APPS_LABEL);
    if (result != 0) {
        return result;
    }
    status_begin(PHASE_RECORDS, RECORD_OF_FILESYSTEMS, 0);
    printf("## Finalising root and applications filesystems update...\n");
    result =
        finalise_fs_update(work->current_baseline, work->updating_baseline, work->pair.board_id);
    if (result == 0) {
        status_end();
    }
    return result;
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
        status_begin(PHASE_RECORDS, RECORD_OF_BOOTLOADER, 0);
        printf("## Finalising bootloader update...\n");
        result = libsu_make_update_persistent(LIBSU_TYPE_BOOTLOADER);
        if (result == 0) {
            status_end();
        }
    }
    return result;
}

// The second phase: what changed, which slot, and the installation itself.
int plan_and_install(update_work* work)
{
    status_begin(PHASE_COMPARISON, nullptr, 0);
    int result = check_changes(work);
    if (result != 0) {
        return result;
    }
    status_end();
    if (work->bootloader_changed == 0 && work->rootfs_changed == 0 && work->apps_changed == 0) {
        print_banner(BANNER_NOTHING_TO_DO);
        return UPDATE_NOTHING_TO_DO;
    }
    print_banner(BANNER_START);
    status_begin(PHASE_BASELINE, nullptr, 0);
    result = choose_baseline(work);
    if (result != 0) {
        return result;
    }
    status_end();
    result = install_changes(work);
    print_banner(result == 0 ? BANNER_SUCCESS : BANNER_FAILURE);
    return result;
}

} // namespace

int run_update(const firmpack_input& os, const firmpack_input& app, uint32_t board_id)
{
    update_work work{};
    work.buffer = static_cast<uint8_t*>(malloc(WORK_BUFFER_SIZE));
    if (work.buffer == nullptr) {
        fprintf(stderr, "Out of memory\n");
        return UPDATE_OUT_OF_MEMORY;
    }
    work.pair = {os, app, board_id, KEY_FILE};

    int result = 0;
    switch (accept_pair(&work.pair, &result)) {
    case PAIR_REFUSED:
        break;
    case PAIR_LEGACY:
        status_begin(PHASE_LEGACY, nullptr, 0);
        result = install_legacy_firmpacks();
        if (result == 0) {
            status_end();
        }
        break;
    case PAIR_ACCEPTED:
        result = plan_and_install(&work);
        break;
    }
    // The buffer belongs to this run, which ends here.
    free(work.buffer);
    return result;
}
