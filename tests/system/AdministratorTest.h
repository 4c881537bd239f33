// SPDX-License-Identifier: MIT
#pragma once

#include "platform/FileManager.h"
#include "tests/core/TunnelTest.h"
#include "tests/support/Waiting.h"

#include <string_view>

namespace kestrelnet {

/// A controller without a helper. Its administrator prompt is a program that the test
/// defines.
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
};

} // namespace kestrelnet
