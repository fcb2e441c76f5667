// Key files: the public keys that firmpack signatures are verified with, read
// from a device tree in the form `mkimage -K` writes. Every child of
// "/signature" that carries an RSA key ("rsa,modulus", "rsa,num-bits",
// "rsa,exponent") or an ECDSA key ("ecdsa,curve", "ecdsa,x-point",
// "ecdsa,y-point") is a key, whatever its node name, and every key counts:
// "required" and "algo" are not read. mkimage names an RSA key "key-<hint>" and
// writes "key-name-hint"; an ECDSA key it may name by the bare hint alone.
// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <openssl/types.h>

// At most this many keys are read from a file; any after them are passed over.
inline constexpr int FIRMPACK_KEYS_MAX = 16;

struct firmpack_key {
    const char* name;     // "key-name-hint", else the node name less "key-"; in the blob
    EVP_PKEY* public_key; // never freed: keys live until the process ends
};

struct firmpack_keys {
    int count;
    std::array<firmpack_key, FIRMPACK_KEYS_MAX> keys;
};

enum keys_outcome : int {
    KEYS_READ,        // at least one key
    KEYS_NOT_A_TREE,  // shorter than its header says, or no well-formed device tree
    KEYS_NONE_USABLE, // no "/signature" node, or no child of it that makes a key
};

// Reads the keys of a key file of size bytes. The blob may be anything: it is
// checked as firmpacks are before libfdt reads it. Key names point into the
// blob, which the caller keeps mapped. A child whose values do not make a key
// (a missing or malformed value, a curve the library does not know) is passed
// over. Prints nothing.
[[nodiscard]] keys_outcome firmpack_read_keys(const uint8_t* blob, uint32_t size,
                                              firmpack_keys* keys);
