// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"
#include "platform/FileManager.h"
#include "platform/Log.h"
#include "platform/Text.h"
#include "system/ShellStartup.h"

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

/// The time between the request to disconnect and the first removal, however long the disconnect
/// takes.
constexpr auto disconnectDelay = 2s;

void removeOwnLines(const std::string& path) {
    const auto text = files::read(path);
    if (text && text::isValidUtf8(*text) && !files::writeAtomically(path, withoutOwnLines(*text))) {
        log::warning(log::Category::system, "cannot write " + path);
    }
}

} // namespace

void TunnelManager::uninstall(const std::function<void()>& completion) {
    if (status == TunnelStatus::disconnected) {
        performUninstall(completion);
        return;
    }
    disconnect();
    platform_.mainQueue->asyncAfter(disconnectDelay, [manager = weak_from_this(), completion] {
        if (const auto self = manager.lock()) {
            self->performUninstall(completion);
        }
    });
}

void TunnelManager::performUninstall(const std::function<void()>& completion) {
    removeLaunchAgent();
    const bool hasHelper = files::exists(platform_.paths.helper);
    const std::string home = platform_.paths.home;
    if (!hasHelper) {
        finishUninstall(home, completion);
        return;
    }
    // The rest is removed even when the helper could not be removed.
    runWithAdminPrivileges(
        "rm -f " + platform_.paths.helper,
        [manager = weak_from_this(), queue = platform_.mainQueue, home, completion](bool) {
            queue->async([manager, home, completion] {
                if (const auto self = manager.lock()) {
                    self->finishUninstall(home, completion);
                }
            });
        });
}

void TunnelManager::finishUninstall(const std::string& home,
                                    const std::function<void()>& completion) {
    const std::string userFolder = home + '/' + product::userFolderName;
    if (!files::remove(userFolder) && files::exists(userFolder)) {
        log::warning(log::Category::system, "cannot remove " + userFolder);
    }
    for (const char* startupFile : {"/.zshrc", "/.bashrc"}) {
        removeOwnLines(home + startupFile);
    }
    platform_.defaults->removePersistentDomain();
    if (files::exists(platform_.paths.helper)) {
        log::warning(log::Category::system, "the helper was not removed");
    }
    helperInstalled = false;
    completion();
}

} // namespace kestrelnet
