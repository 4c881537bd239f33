// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"
#include "platform/FileManager.h"
#include "platform/Text.h"
#include "system/ShellStartup.h"

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

/// What a disconnect gets before anything is removed, whether or not it takes that long.
constexpr auto disconnectDelay = 2s;

void removeOwnLines(const std::string& path) {
    const auto text = files::read(path);
    if (text && text::isValidUtf8(*text)) {
        files::writeAtomically(path, withoutOwnLines(*text));
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
    // Whether the helper could be removed is not asked: the rest goes in any case.
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
    files::remove(home + '/' + product::userFolderName);
    for (const char* startupFile : {"/.zshrc", "/.bashrc"}) {
        removeOwnLines(home + startupFile);
    }
    platform_.defaults->removePersistentDomain();
    helperInstalled = false;
    completion();
}

} // namespace kestrelnet
