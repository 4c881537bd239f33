// SPDX-License-Identifier: MIT
#pragma once

#include "core/Product.h"
#include "platform/Dispatch.h"
#include "platform/URLSession.h"
#include "platform/UserDefaults.h"

#include <memory>
#include <string>

namespace kestrelnet {

/// The paths that the controller uses. Only `temporaryDirectory` ends with a separator.
struct Paths {
    std::string helper = product::helperPath;
    std::string systemClient = product::systemClientPath;
    std::string bundle;
    std::string home;
    std::string temporaryDirectory;
    /// Runs one AppleScript statement. It shows the administrator prompt.
    std::string osascript;
    /// Follows a named pipe.
    std::string tail;
    /// Loads a login agent into the user's service manager, and unloads it.
    std::string launchctl;
};

/// The services of the operating system that the controller uses, as one value. Tests pass one with
/// a temporary root folder and a virtual clock.
struct Platform {
    Paths paths;
    std::shared_ptr<UserDefaults> defaults;
    std::shared_ptr<Queue> mainQueue;
    std::shared_ptr<BackgroundQueue> backgroundQueue;
    std::shared_ptr<Clock> clock;
    std::shared_ptr<URLSession> urlSession;

    /// The real system's services. Main thread only, after the Qt application was created.
    static Platform system();
};

} // namespace kestrelnet
