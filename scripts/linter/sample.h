// SPDX-License-Identifier: MIT
// Faults that scripts/lint must find in a header.
#pragma once

#include <string>
#include <vector>

inline bool isEmpty(std::vector<std::string> values) {
    return values.size() == 0;
}
