// The measurements of bench/, registered with Google Benchmark by name:
// "<what>/<implementation>/<input size>", throughput as bytes per second.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

inline constexpr uint32_t SMALL_INPUT = 1u << 20;
inline constexpr uint32_t LARGE_INPUT = 64u << 20;

// "1MiB" or "64MiB".
std::string size_name(uint32_t size);

// Everything: own code, the references and the firmpack hash check.
void register_all_benchmarks();

// Our SHA-1 and OpenSSL's, named "sha1/own_<variant>/<size>" and
// "sha1/openssl_<variant>/<size>" (no suffix for an empty variant). A child
// process whose OPENSSL_ia32cap masks some of the CPU's features runs only
// these, so that each pair is measured side by side under the same load.
void register_sha1_pair(const std::string& variant);
