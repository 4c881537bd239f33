// SPDX-License-Identifier: MIT
#pragma once

#include "platform/FileManager.h"
#include "tests/core/TunnelTest.h"
#include "tests/support/Waiting.h"

#include <string>
#include <vector>

namespace kestrelnet {

/// A controller without a helper, whose administrator prompt is a program that does what the test
/// says.
class AdministratorTest : public TunnelTest {
  protected:
    AdministratorTest() {
        files::remove(paths().helper);
        manager = makeManager();
    }

    FakeClient& installRunner(std::string_view mode = "script") {
        return installAt(paths().osascript, mode);
    }
    static bool hasStarted(const FakeClient& runner) {
        return waitFor([&runner] { return runner.isReady(); });
    }

    /// The arguments that the runner was given; its own script gives four more.
    static std::vector<std::string> arguments(const FakeClient& runner) {
        std::vector<std::string> all = runner.found("argument");
        EXPECT_GE(all.size(), 4U);
        all.erase(all.begin(), all.begin() + 4);
        return all;
    }
};

} // namespace kestrelnet
