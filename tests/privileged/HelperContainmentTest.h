// SPDX-License-Identifier: MIT
#pragma once

#include "tests/privileged/HelperTest.h"

#include <chrono>
#include <vector>

namespace kestrelnet {

/// Looks at the processes of a run.
class HelperContainmentTest : public HelperTest {
  protected:
    /// All processes but the front that have not ended.
    std::vector<rootWorld::Survivor> othersThanTheFront() const {
        auto found = rootWorld::processes();
        std::erase_if(found, [this](const auto& each) {
            return each.pid == program->pid() || each.state == 'Z';
        });
        return found;
    }
    bool onlyTheFrontIsLeftWithin(std::chrono::milliseconds time) const {
        const auto end = std::chrono::steady_clock::now() + time;
        return waitFor([this] { return othersThanTheFront().empty(); }) &&
               std::chrono::steady_clock::now() <= end;
    }
};

} // namespace kestrelnet
