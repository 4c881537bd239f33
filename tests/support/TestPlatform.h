// SPDX-License-Identifier: MIT
#pragma once

#include "core/Platform.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/VirtualTime.h"

#include <string>

namespace kestrelnet {

/// A platform for one test: all paths are under a temporary root, in which only the temporary
/// folder exists; the settings are a file; time is virtual. Processes, pipes and requests are real.
/// Needs a Qt application.
struct TestPlatform {
    TestPlatform();

    /// Opens the settings again, as a later start of the application does.
    std::shared_ptr<UserDefaults> reopenDefaults() const;

    TemporaryFolder root;
    VirtualTime time;
    std::string defaultsFile = root.file("settings.ini");
    Platform platform;
};

} // namespace kestrelnet
