// SPDX-License-Identifier: MIT
#include "tests/support/sample_pair.h"

#include "firmpack/fit.h"
#include "firmpack/verify.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <libfdt.h>

namespace {

// The node at path; a missing last node is added under its parent.
int node_at(std::vector<uint8_t>* fit, const std::string& path)
{
    int node = fdt_path_offset(fit->data(), path.c_str());
    if (node >= 0) {
        return node;
    }
    const std::size_t slash = path.rfind('/');
    int parent =
        fdt_path_offset(fit->data(), path.substr(0, std::max<std::size_t>(slash, 1)).c_str());
    return fdt_add_subnode(fit->data(), parent, path.c_str() + slash + 1);
}

void rehash(std::vector<uint8_t>* fit, int node)
{
    const uint8_t* data = nullptr;
    uint32_t size = 0;
    if (firmpack_get_data(fit->data(), node, &data, &size) != 0) {
        return;
    }
    int hash = 0;
    fdt_for_each_subnode(hash, fit->data(), node)
    {
        const char* algo = nullptr;
        uint8_t digest[HASH_MAX_SIZE];
        int length = 0;
        if (firmpack_get_string(fit->data(), hash, "algo", &algo) == 0 &&
            firmpack_calc_hash(data, size, algo, digest, &length, HASHES_SIGNED) == 0) {
            EXPECT_EQ(0, fdt_setprop_inplace(fit->data(), hash, "value", digest, length));
        }
    }
}

} // namespace

property_change text(const char* node, const char* property, const std::string& value)
{
    return {node, property, value + '\0', false, true};
}

property_change bytes(const char* node, const char* property, const std::string& value)
{
    return {node, property, value, false, true};
}

property_change removed(const char* node, const char* property)
{
    return {node, property, "", true, false};
}

property_change damaged(const char* node, const char* property, const std::string& value)
{
    return {node, property, value, false, false};
}

std::string sample_path(const std::string& file)
{
    return std::string(FPU_EXAMPLE_PAIR_DIR) + "/" + file;
}

std::vector<uint8_t> sample_firmpack(const std::string& file, const property_change& change)
{
    return changed_firmpack(load_file(sample_path(file)), change);
}

std::vector<uint8_t> changed_firmpack(std::vector<uint8_t> fit, const property_change& change)
{
    if (change.node == nullptr) {
        return fit;
    }
    fit.resize(fit.size() + change.value.size() + 1024);
    EXPECT_EQ(0, fdt_open_into(fit.data(), fit.data(), static_cast<int>(fit.size())));
    const int node = node_at(&fit, change.node);
    const int result = change.remove
                           ? fdt_delprop(fit.data(), node, change.property)
                           : fdt_setprop(fit.data(), node, change.property, change.value.data(),
                                         static_cast<int>(change.value.size()));
    EXPECT_EQ(0, result) << change.node << " " << change.property;
    if (change.rehash) {
        rehash(&fit, node);
    }
    return fit;
}
