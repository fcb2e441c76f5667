// The sample pair that examples/ builds, and copies of its firmpacks with one
// property changed: the good fixture, changed in one place per test row.
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct property_change {
    const char* node; // null: the firmpack as it is
    const char* property;
    std::string value; // the new bytes
    bool remove;       // the property goes instead
    bool rehash;       // the node's hash records are computed anew, as mkimage would
};

inline const property_change UNCHANGED = {nullptr, nullptr, "", false, false};

// A property set to a text (with its NUL) or to bytes, its hashes recomputed;
// removed; or set to bytes while the hashes stay as they were.
property_change text(const char* node, const char* property, const std::string& value);
property_change bytes(const char* node, const char* property, const std::string& value);
property_change removed(const char* node, const char* property);
property_change damaged(const char* node, const char* property, const std::string& value);

std::string sample_path(const std::string& file);
std::vector<uint8_t> sample_firmpack(const std::string& file, const property_change& change);
// Any firmpack with one property changed; sha256 records are recomputed too.
std::vector<uint8_t> changed_firmpack(std::vector<uint8_t> fit, const property_change& change);
