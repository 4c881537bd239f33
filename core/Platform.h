// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"
#include "platform/URLSession.h"
#include "platform/UserDefaults.h"

#include <memory>
#include <string>

namespace kestrelnet {

/// The fixed places of the system. Folders come without a separator at the end, but for
/// `temporaryDirectory`.
struct Paths {
    std::string helper = "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";
    std::string systemClient = "/usr/local/bin/kestrelnet-client";
    std::string bundle;
    std::string home;
    std::string temporaryDirectory;
    /// Runs one AppleScript statement; the way to the administrator prompt.
    std::string osascript;
    /// Follows a named pipe.
    std::string tail;
    /// Loads a login agent into the user's service manager, and unloads it.
    std::string launchctl;
};

/// All that the controller needs of the operating system, as one value: tests pass one with a
/// temporary root and a virtual clock.
struct Platform {
    Paths paths;
    std::shared_ptr<UserDefaults> defaults;
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<Queue> backgroundQueue;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<URLSession> urlSession;

    /// The real system's. Main thread, with the Qt application made.
    static Platform system();
};

} // namespace kestrelnet
