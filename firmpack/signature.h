// Configuration signatures: whether a board's configuration of a firmpack was
// signed, with mkimage, by one of the keys of a key file, and whether that
// signature covers every image that an update reads through it.
//
// A signature is a child of the configuration whose name begins with
// "signature". What it signs are the bytes mkimage signs: the structure block
// restricted to the root node, the configuration node, each image that the
// configuration names in a property listed in the signature's "sign-images",
// and each such image's "hash*" children (begin and end tags, every property
// but "data", "data-size", "data-position" and "data-offset", and the begin
// and end tags of their direct children), then the end tag, then the first
// "hashed-strings" bytes of the strings block. The images are found from the
// configuration with the lookup that the update uses; the signature's own
// "hashed-nodes" list is not read (nothing signs it).
// SPDX-License-Identifier: MIT
#pragma once

#include "firmpack/keys.h"

#include <cstddef>
#include <cstdint>

enum signature_verdict : int {
    SIGNATURE_VERIFIED,
    SIGNATURE_NO_CONFIGURATION,  // no configuration of that name
    SIGNATURE_MISSING,           // the configuration has no signature node
    SIGNATURE_UNKNOWN_KEY,       // the key the signature names is not in the key set
    SIGNATURE_BAD,               // no key of the set verifies it
    SIGNATURE_NOT_COVERED,       // an image the update reads is not in "sign-images"
    SIGNATURE_WEAK_HASH,         // an image the update reads has no sha1 or sha256 record
    SIGNATURE_AMBIGUOUS,         // a second child of "/images" answers the same image name
    SIGNATURE_WEAK_ALGORITHM,    // a signature over sha1
    SIGNATURE_UNKNOWN_ALGORITHM, // an algorithm not verified here
};

// What a verdict is about; each text points into the firmpack or the key file.
struct signature_finding {
    const char* algo;     // the signature's "algo", when it has one
    const char* key_name; // the verifying key; for UNKNOWN_KEY the key the signature names
    const char* image;    // NOT_COVERED: the configuration property; WEAK_HASH: the image
                          // node's name; AMBIGUOUS: the image name the configuration gives
};

// Verifies the signature of configuration config_name of a firmpack that has
// passed the structure check, against the keys of a key set. The image
// properties are those of the configuration whose images the update reads
// ("firmware", "filesystem", "fdt"): each that the configuration has must be
// listed in "sign-images", name exactly one child of "/images" and that image
// carry a sha1 or sha256 hash record (whose value the hash check checks). The
// signature nodes are tried in order, each with the key its "key-name-hint"
// names first, then the other keys of its type and size; the first that
// verifies gives SIGNATURE_VERIFIED, else the first node's verdict stands.
// Algorithms: sha256, sha384 or sha512 with rsa2048, rsa3072, rsa4096 (padding
// "pkcs-1.5", the default, or "pss"), ecdsa256 or ecdsa384. Prints nothing.
[[nodiscard]] signature_verdict
firmpack_check_signature(const uint8_t* fit, const char* config_name,
                         const char* const* image_properties, std::size_t image_count,
                         const firmpack_keys* keys, signature_finding* finding);

// A short text for a verdict: "verified", "no signature", "unknown key", ...
[[nodiscard]] const char* signature_verdict_text(signature_verdict verdict);
