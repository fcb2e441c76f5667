// SPDX-License-Identifier: MIT
#include "acceptance/signed.h"

#include "acceptance/result.h"
#include "firmpack/fit.h"
#include "firmpack/keys.h"
#include "firmpack/signature.h"
#include "io/image_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <openssl/evp.h>
#include <sys/stat.h>

namespace {

// The configuration properties whose images the update reads.
constexpr const char* OS_IMAGES[] = {"firmware", "filesystem", "fdt"};
constexpr const char* APP_IMAGES[] = {"filesystem"};

// The key file as this process read it: once, and kept until the process
// ends, like the firmpacks it judges.
struct {
    const char* path;
    const uint8_t* blob;
    int32_t size;
    keys_outcome outcome;
    int error; // of mapping the file, 0 when it was mapped
    map_step failed_step;
    firmpack_keys keys;
} key_file;

void forget_key_file()
{
    for (int i = 0; i < key_file.keys.count; ++i) {
        EVP_PKEY_free(key_file.keys.keys[static_cast<std::size_t>(i)].public_key);
    }
    if (key_file.blob != nullptr) {
        (void)unmap_image_file(key_file.blob, key_file.size);
    }
    key_file = {};
}

void read_key_file(const char* path)
{
    if (key_file.path != nullptr && strcmp(key_file.path, path) == 0) {
        return;
    }
    forget_key_file();
    key_file.path = path;
    key_file.error = map_file(path, &key_file.blob, &key_file.size, &key_file.failed_step);
    if (key_file.error == 0) {
        key_file.outcome =
            firmpack_read_keys(key_file.blob, static_cast<uint32_t>(key_file.size), &key_file.keys);
    } else {
        key_file.blob = nullptr;
    }
}

// Why the key file cannot be used, or null when it can.
const char* key_file_problem()
{
    static char problem[128];
    if (key_file.error != 0 && key_file.failed_step == MAP_EMPTY) {
        return "is empty";
    }
    if (key_file.error != 0) {
        snprintf(problem, sizeof problem, "cannot be read (%s)", strerror(key_file.error));
        return problem;
    }
    switch (key_file.outcome) {
    case KEYS_READ:
        return nullptr;
    case KEYS_NOT_A_TREE:
        return "is not a device tree";
    case KEYS_NONE_USABLE:
        break;
    }
    return "holds no usable key";
}

// What a refusal is about: the image, key or algorithm the verdict names.
const char* refusal_subject(signature_verdict verdict, const signature_finding& finding)
{
    switch (verdict) {
    case SIGNATURE_UNKNOWN_KEY:
        return finding.key_name;
    case SIGNATURE_NOT_COVERED:
    case SIGNATURE_WEAK_HASH:
    case SIGNATURE_AMBIGUOUS:
        return finding.image;
    case SIGNATURE_WEAK_ALGORITHM:
    case SIGNATURE_UNKNOWN_ALGORITHM:
        return finding.algo;
    case SIGNATURE_VERIFIED:
    case SIGNATURE_NO_CONFIGURATION:
    case SIGNATURE_MISSING:
    case SIGNATURE_BAD:
        break;
    }
    return nullptr;
}

int check_configuration(const firmpack_input& firmpack, const char* config_name,
                        const char* const* images, std::size_t image_count)
{
    signature_finding finding{};
    const signature_verdict verdict = firmpack_check_signature(
        firmpack.fit, config_name, images, image_count, &key_file.keys, &finding);
    if (verdict == SIGNATURE_VERIFIED) {
        printf("   Signature for Configuration %s (%s): %s:%s+ \n", config_name,
               firmpack.display_name, finding.algo, finding.key_name);
        return 0;
    }
    const char* subject = refusal_subject(verdict, finding);
    printf("ERROR: %s: configuration %s: %s%s%s%s, stopping upgrade\n", firmpack.display_name,
           config_name, signature_verdict_text(verdict), subject != nullptr ? " (" : "",
           subject != nullptr ? subject : "", subject != nullptr ? ")" : "");
    return ACCEPT_NOT_SIGNED;
}

} // namespace

bool key_file_present(const char* path)
{
    struct stat status;
    return path != nullptr && (stat(path, &status) == 0 || (errno != ENOENT && errno != ENOTDIR));
}

int check_pair_signatures(const firmpack_pair* pair)
{
    read_key_file(pair->key_file);
    const char* problem = key_file_problem();
    if (problem != nullptr) {
        printf("ERROR: key file %s %s, stopping upgrade\n", pair->key_file, problem);
        return ACCEPT_NOT_SIGNED;
    }
    char config_name[BOARD_CONFIG_NAME_SIZE];
    firmpack_board_config_name(pair->board_id, config_name);
    const int result = check_configuration(pair->os, config_name, OS_IMAGES, std::size(OS_IMAGES));
    if (result != 0) {
        return result;
    }
    return check_configuration(pair->app, config_name, APP_IMAGES, std::size(APP_IMAGES));
}
