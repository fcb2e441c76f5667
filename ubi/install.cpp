// SPDX-License-Identifier: MIT
#include "ubi/install.h"

#include "firmpack/fit.h"
#include "firmpack/package.h"
#include "io/status.h"
#include "ubi/command.h"
#include "ubi/partition.h"
#include "ubi/result.h"
#include "ubi/text.h"
#include "ubi/version.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr const char* OPERATION_NAME = "store_fs_in_flash";

// A gzip package is unpacked into a file named after this process, so two
// instances never share it. It stays after the install; only the next
// extraction removes it.
constexpr const char* TEMP_IMAGE_FORMAT = "/tmp/ubifs_%i.img";
constexpr std::size_t TEMP_IMAGE_PATH_SIZE = formatted_size(TEMP_IMAGE_FORMAT);
constexpr const char* GUNZIP_COMMAND = "gunzip -cf > %s";
constexpr std::size_t GUNZIP_COMMAND_SIZE =
    formatted_size(GUNZIP_COMMAND, formatted_length(TEMP_IMAGE_FORMAT));
constexpr const char* UPDATE_FROM_FILE_COMMAND = "ubiupdatevol /dev/ubi%i_0 %s";
constexpr std::size_t UPDATE_FROM_FILE_COMMAND_SIZE =
    formatted_size(UPDATE_FROM_FILE_COMMAND, formatted_length(TEMP_IMAGE_FORMAT));
// The size option tells the utility how many bytes to take from its input.
constexpr const char* UPDATE_FROM_INPUT_COMMAND = "ubiupdatevol /dev/ubi%i_0 -s %i -";
constexpr std::size_t UPDATE_FROM_INPUT_COMMAND_SIZE = formatted_size(UPDATE_FROM_INPUT_COMMAND);

constexpr const char* VOLUME_NODE_FORMAT = "/dev/ubi%i_0";
constexpr std::size_t VOLUME_NODE_SIZE = formatted_size(VOLUME_NODE_FORMAT);
// The new volume is mounted on a directory named after its partition.
constexpr const char* MOUNT_DIR_FORMAT = "/tmp/%s";
constexpr std::size_t MOUNT_DIR_SIZE = formatted_size(MOUNT_DIR_FORMAT, PARTITION_NAME_MAX);
constexpr const char* VERSION_FILE_FORMAT = "%s/version"; // in the mount directory
constexpr std::size_t VERSION_FILE_SIZE =
    formatted_size(VERSION_FILE_FORMAT, formatted_length(MOUNT_DIR_FORMAT, PARTITION_NAME_MAX));
constexpr mode_t MOUNT_DIR_MODE = 0755;
constexpr const char* VOLUME_FS_TYPE = "ubifs";

// A filesystem package as it lies in the firmpack, with its compression's
// code and the partition it goes to.
struct fs_package {
    firmpack_package part;
    uint8_t compression;
    const char* partition;
};

// Every check that can refuse a package, made before the flash is touched.
int read_package(const uint8_t* fit, const char* package_name, fs_package* package)
{
    switch (firmpack_read_package(fit, package_name, &package->part)) {
    case PACKAGE_NO_IMAGE:
        printf("Can't find '%s' FIT subimage\n", package_name);
        return UBI_NO_PACKAGE;
    case PACKAGE_NO_DATA:
        printf("Could not find script subimage data\n");
        return UBI_INVALID;
    case PACKAGE_NO_DESCRIPTION:
        printf("No Description for package %s\n", package_name);
        return UBI_INVALID;
    case PACKAGE_NO_COMPRESSION:
        printf("%s: Cannot detect compression type\n", package_name);
        return UBI_INVALID;
    case PACKAGE_WHOLE:
        break;
    }
    package->compression = static_cast<uint8_t>(compression_by_name(package->part.compression));
    if (package->compression != COMPRESSION_NONE && package->compression != COMPRESSION_GZIP) {
        printf("%s: Unsupported compression type:%i\n", OPERATION_NAME, package->compression);
        return UBI_INVALID;
    }
    return 0;
}

void print_installing(const fs_package& package)
{
    printf("   Installing package '%-14.14s'... (%s)\n", package.part.name,
           package.part.description);
}

// Unpacks the package into the temporary image file and writes that file.
int write_gzip_package(const fs_package& package, int ubi_device)
{
    status_begin(PHASE_EXTRACTION, package.partition, package.part.size);
    printf("   Extracting package '%-14.14s'... (%s)\n", package.part.name,
           package.part.description);
    char image_path[TEMP_IMAGE_PATH_SIZE];
    char unpack[GUNZIP_COMMAND_SIZE];
    char update[UPDATE_FROM_FILE_COMMAND_SIZE];
    if (!format_text(image_path, sizeof image_path, TEMP_IMAGE_FORMAT,
                     static_cast<int>(getpid())) ||
        !format_text(unpack, sizeof unpack, GUNZIP_COMMAND, image_path) ||
        !format_text(update, sizeof update, UPDATE_FROM_FILE_COMMAND, ubi_device, image_path)) {
        return UBI_NAME_TOO_LONG;
    }
    if (unlink(image_path) != 0 && errno != ENOENT) {
        int error = errno;
        fprintf(stderr, "ERROR: Failed to remove tempfile at '%s' (%s)\n", image_path,
                strerror(error));
        return error;
    }

    int result = pipe_to_command(unpack, package.part.data, package.part.size);
    if (result != 0) {
        return result;
    }
    status_end();
    status_begin(PHASE_WRITE, package.partition, 0);
    print_installing(package);
    return pipe_to_command(update, nullptr, 0);
}

// Feeds the package straight from the firmpack into the volume update.
int write_plain_package(const fs_package& package, int ubi_device)
{
    char command[UPDATE_FROM_INPUT_COMMAND_SIZE];
    if (!format_text(command, sizeof command, UPDATE_FROM_INPUT_COMMAND, ubi_device,
                     static_cast<int>(package.part.size))) {
        return UBI_NAME_TOO_LONG;
    }
    status_begin(PHASE_WRITE, package.partition, package.part.size);
    print_installing(package);
    return pipe_to_command(command, package.part.data, package.part.size);
}

// Mounts the new volume read-only and compares its version file with the
// package. A volume that does not match is left mounted for inspection.
int verify_volume(const fs_package& package, int ubi_device, const char* mount_dir,
                  const char* label)
{
    status_begin(PHASE_VERIFICATION, package.partition, 0);
    printf("   Verifying package  '%-14.14s'... (%s)\n", package.part.name,
           package.part.description);
    char volume[VOLUME_NODE_SIZE];
    char version_file[VERSION_FILE_SIZE];
    if (!format_text(volume, sizeof volume, VOLUME_NODE_FORMAT, ubi_device) ||
        !format_text(version_file, sizeof version_file, VERSION_FILE_FORMAT, mount_dir)) {
        return UBI_NAME_TOO_LONG;
    }

    // A directory left by an earlier run is simply used.
    (void)mkdir(mount_dir, MOUNT_DIR_MODE);
    fflush(stdout);
    if (mount(volume, mount_dir, VOLUME_FS_TYPE, MS_RDONLY, nullptr) != 0) {
        int error = errno;
        printf("ERROR: mounting failed! (%s)\n", strerror(error));
        return error;
    }

    uint32_t update_required = 1;
    int result = check_update_required(package.part.description, package.part.name,
                                       &update_required, version_file, label, VERSION_VERIFY);
    if (result != 0) {
        printf("ERROR: check_update_required failed! %s\n", strerror(errno));
        return result;
    }
    if (update_required != 0) {
        printf("ERROR: Versions do not match -> Upgrade failed!\n");
        return UBI_INVALID;
    }
    fflush(stdout);
    if (umount(mount_dir) != 0) {
        int error = errno;
        printf("ERROR: unmounting failed! (%s)\n", strerror(error));
        return error;
    }
    status_end();
    return 0;
}

} // namespace

int store_fs_in_flash(const uint8_t* fit, const char* package_name, const char* partition_name,
                      const char* label)
{
    fs_package package{};
    package.partition = partition_name;
    int result = read_package(fit, package_name, &package);
    if (result != 0) {
        return result;
    }

    // Refused before anything is touched when the partition's name is too long.
    char mount_dir[MOUNT_DIR_SIZE];
    if (!format_text(mount_dir, sizeof mount_dir, MOUNT_DIR_FORMAT, partition_name)) {
        return UBI_NAME_TOO_LONG;
    }

    status_begin(PHASE_PREPARATION, partition_name, 0);
    printf("   Preparing package  '%-14.14s'... (%s)\n", package.part.name,
           package.part.description);
    int mtd_number = 0;
    result = find_mtd_partition(partition_name, &mtd_number);
    if (result != 0) {
        return result;
    }
    result = prepare_ubi_volume(mtd_number, partition_name);
    if (result != 0) {
        return result;
    }
    status_end();

    const int ubi_device = mtd_number + UBI_DEVICE_OFFSET;
    result = package.compression == COMPRESSION_GZIP ? write_gzip_package(package, ubi_device)
                                                     : write_plain_package(package, ubi_device);
    if (result != 0) {
        return result;
    }
    status_end();
    return verify_volume(package, ubi_device, mount_dir, label);
}
