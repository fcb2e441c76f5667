// Names each case of a parameterised test after its `name` field.
// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

struct case_name {
    template <typename Case>
    std::string operator()(const testing::TestParamInfo<Case>& param_info) const
    {
        return param_info.param.name;
    }
};
