// SPDX-License-Identifier: MIT
// Faults that scripts/lint must find in a source.
#include "sample.h"

#include <utility>

namespace {

int Bad_Name(const int* number) {
    return number == nullptr ? *number : 0;
}

std::size_t useAfterMove() {
    std::string text = "text";
    const std::string moved = std::move(text);
    return text.size() + moved.size();
}

} // namespace

int main() {
    return Bad_Name(nullptr) + static_cast<int>(useAfterMove()) + (isEmpty({}) ? 1 : 0);
}
