// SPDX-License-Identifier: MIT
#include "system/HelperInstallation.h"

#include "core/TunnelManager.h"
#include "platform/FileManager.h"
#include "platform/Log.h"

namespace kestrelnet {

namespace {

/// Escapes `text` for use between single quotes in a shell command.
std::string escapeSingleQuotes(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        escaped += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return escaped;
}

} // namespace

std::string scriptInstallCommand(const std::string& scriptPath) {
    return "/bin/bash '" + scriptPath + "'";
}

std::string inlineInstallCommand(const std::string& clientPath, const std::string& helperPath) {
    const std::string folder = helperPath.substr(0, helperPath.rfind('/'));
    return "mkdir -p " + folder + R"( && printf '#!/bin/bash\nexec ")" +
           escapeSingleQuotes(clientPath) + R"(" "$@"\n' > )" + helperPath +
           " && chown root:wheel " + helperPath + " && chmod 4755 " + helperPath;
}

void TunnelManager::installHelper(const std::function<void(bool)>& completion) {
    const std::string& bundle = platform_.paths.bundle;
    for (const char* place :
         {"/Contents/Resources/install-helper.sh", "/../scripts/install-helper.sh"}) {
        const std::string script = files::standardizedPath(bundle + place);
        if (files::exists(script)) {
            runWithAdminPrivileges(scriptInstallCommand(script), refreshHelper(completion));
            return;
        }
    }
    installHelperInline(completion);
}

void TunnelManager::installHelperInline(const std::function<void(bool)>& completion) {
    const auto client = binaryPath();
    if (!client) {
        completion(false);
        return;
    }
    runWithAdminPrivileges(inlineInstallCommand(*client, platform_.paths.helper),
                           refreshHelper(completion));
}

std::function<void(bool)>
TunnelManager::refreshHelper(const std::function<void(bool)>& completion) {
    return [completion, manager = weak_from_this(), queue = platform_.mainQueue](bool) {
        // The result is whether the helper exists, regardless of how the command ended.
        queue->async([completion, manager] {
            const auto self = manager.lock();
            if (self) {
                self->helperInstalled = files::exists(self->platform_.paths.helper);
                if (!self->helperInstalled) {
                    log::warning(log::Category::system, "the helper is not installed");
                }
            }
            completion(self && self->helperInstalled);
        });
    };
}

} // namespace kestrelnet
