// SPDX-License-Identifier: MIT
#pragma once

#include "tests/privileged/HelperTest.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <signal.h>
#include <string>
#include <vector>

namespace kestrelnet {

/// Runs of the helper whose client is a shell script.
class HelperContainmentTest : public HelperTest {
  protected:
    void SetUp() override {
        HelperTest::SetUp();
        std::filesystem::remove(mark);
    }

    /// Starts the helper with a shell script as client, and waits for its mark.
    void startScript(const std::string& text, const Options& options = {}) {
        installClientText("#!/bin/sh\n" + text);
        program = std::make_unique<UserProgram>(helperPath, options);
        EXPECT_TRUE(waitFor([] { return std::filesystem::exists(mark); }));
    }

    pid_t guard() const {
        const std::string front = std::to_string(program->pid());
        return std::stoi(readFile("/proc/" + front + "/task/" + front + "/children"));
    }

    void killStarter() const {
        ASSERT_GT(program->starter(), 0);
        ASSERT_EQ(::kill(program->starter(), SIGKILL), 0);
    }

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

    static constexpr const char* mark = "/tmp/ready";
};

} // namespace kestrelnet
