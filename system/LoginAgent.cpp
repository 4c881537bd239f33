// SPDX-License-Identifier: MIT
#include "system/LoginAgent.h"

#include "core/SettingsKeys.h"
#include "core/TunnelManager.h"
#include "platform/FileManager.h"
#include "platform/Log.h"

namespace kestrelnet {

std::string launchAgentText(const std::string& bundlePath) {
    // Not one sum of strings: GCC 14 warns of its inlined copy.
    std::string text = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
    <key>Label</key>
    <string>)";
    text.append(product::applicationIdentifier).append(R"(</string>
    <key>ProgramArguments</key>
    <array>
        <string>/usr/bin/open</string>
        <string>-a</string>
        <string>)");
    text.append(bundlePath).append(R"(</string>
    </array>
    <key>RunAtLoad</key>
    <true/>
    <key>KeepAlive</key>
    <false/>
</dict>
</plist>)");
    return text;
}

bool TunnelManager::startAtLogin() const {
    return platform_.defaults->boolean(settings::startAtLogin);
}

void TunnelManager::setStartAtLogin(bool value) {
    platform_.defaults->set(settings::startAtLogin, value);
    objectWillChange.send();
    if (value) {
        installLaunchAgent();
    } else {
        removeLaunchAgent();
    }
}

const std::string& TunnelManager::launchAgentPath() {
    if (launchAgentPath_.empty()) {
        launchAgentPath_ = platform_.paths.home + "/Library/LaunchAgents/" +
                           product::applicationIdentifier + ".plist";
    }
    return launchAgentPath_;
}

void TunnelManager::installLaunchAgent() {
    const std::string& path = launchAgentPath();
    files::createFolder(path.substr(0, path.rfind('/')));
    if (!files::writeAtomically(path, launchAgentText(platform_.paths.bundle))) {
        log::warning(log::Category::system, "cannot write " + path);
    }
    runLaunchctl("load");
}

void TunnelManager::removeLaunchAgent() {
    runLaunchctl("unload");
    if (!files::remove(launchAgentPath()) && files::exists(launchAgentPath())) {
        log::warning(log::Category::system, "cannot remove " + launchAgentPath());
    }
}

void TunnelManager::runLaunchctl(const std::string& subcommand) {
    const auto launchctl = Process::create();
    launchctl->executablePath = platform_.paths.launchctl;
    launchctl->arguments = {subcommand, launchAgentPath()};
    // A failure changes nothing: the setting keeps the user's choice.
    const auto error = launchctl->run();
    launchctl->waitUntilExit();
    if (error) {
        log::warning(log::Category::system, "cannot start launchctl: " + error->description);
    } else if (const int exitStatus = launchctl->terminationStatus(); exitStatus != 0) {
        log::warning(log::Category::system, "launchctl " + subcommand + " ended with status " +
                                                std::to_string(exitStatus));
    }
}

} // namespace kestrelnet
