// The measurements of bench/, registered with Google Benchmark by name:
// "<what>/<implementation>/<input size>", throughput as bytes per second.
// SPDX-License-Identifier: MIT
#pragma once

#include "firmpack/verify.h"

#include <cstdint>
#include <string>

inline constexpr uint32_t SMALL_INPUT = 1u << 20;
inline constexpr uint32_t LARGE_INPUT = 64u << 20;

// "1MiB" or "64MiB".
std::string size_name(uint32_t size);

// Everything: own code, the references, the firmpack hash check and the
// signature check.
void register_all_benchmarks();

// A firmpack file mapped the way the tool maps its files; exits on failure.
const uint8_t* map_file(const char* path, uint32_t* size);

// The hash check with its progress report sent to /dev/null.
int check_hashes_quietly(const uint8_t* fit, hash_set set);

// The signature check of a signed firmpack, small and large, and the hash
// check of its sha256 records against OpenSSL's SHA-256 of the same bytes:
// "check_signature/firmpack/<size>" (calls per second),
// "check_hashes/signed_firmpack/<size>" and "check_hashes/openssl_sha256/<size>".
void register_signature_benchmarks();

// The acceptance of a signed pair of 128 MiB on a board with its key file and
// on one without, in bytes per second of the pair.
inline constexpr const char* ACCEPTANCE_SIGNED = "accept_pair/signed_board/128MiB";
inline constexpr const char* ACCEPTANCE_UNSIGNED = "accept_pair/board_without_keys/128MiB";
void register_acceptance_benchmarks();

// Our SHA-1 and OpenSSL's, named "sha1/own_<variant>/<size>" and
// "sha1/openssl_<variant>/<size>" (no suffix for an empty variant). A child
// process whose OPENSSL_ia32cap masks some of the CPU's features runs only
// these, so that each pair is measured side by side under the same load.
void register_sha1_pair(const std::string& variant);
