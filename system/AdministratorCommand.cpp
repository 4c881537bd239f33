// SPDX-License-Identifier: MIT
#include "system/AdministratorCommand.h"

#include "core/TunnelManager.h"

namespace kestrelnet {

std::string administratorStatement(const std::string& command) {
    return "do shell script \"" + command + "\" with administrator privileges";
}

void TunnelManager::runWithAdminPrivileges(const std::string& command,
                                           const std::function<void(bool)>& completion) {
    const auto runner = Process::create();
    runner->executablePath = platform_.paths.osascript;
    runner->arguments = {"-e", administratorStatement(command)};
    runner->terminationHandler = [completion](const std::shared_ptr<Process>& process) {
        completion(process->terminationStatus() == 0);
    };
    if (runner->run()) {
        completion(false);
    }
}

} // namespace kestrelnet
