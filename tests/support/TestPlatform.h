// SPDX-License-Identifier: MIT
#pragma once

#include "core/Platform.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/VirtualTime.h"

#include <string>

namespace kestrelnet {

/// A platform of a test's own: all paths under a temporary root, nothing there but the temporary
/// folder, settings in a file, virtual time; processes, pipes and requests are real. The program
/// needs a Qt application.
struct TestPlatform {
    TestPlatform();

    /// Opens the settings anew, as a later start of the application does.
    std::shared_ptr<UserDefaults> reopenDefaults() const;

    TemporaryFolder root;
    VirtualTime time;
    std::string defaultsFile = root.file("settings.ini");
    Platform platform;
};

} // namespace kestrelnet
