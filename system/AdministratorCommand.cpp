// SPDX-License-Identifier: MIT
#include "core/AdministratorStatement.h"
#include "core/TunnelManager.h"
#include "platform/Log.h"

namespace kestrelnet {

void TunnelManager::runWithAdminPrivileges(const std::string& command,
                                           const std::function<void(bool)>& completion) {
    const auto runner = Process::create();
    runner->executablePath = platform_.paths.osascript;
    runner->arguments = {"-e", administratorStatement(command)};
    runner->terminationHandler = [completion](const std::shared_ptr<Process>& process) {
        const int exitStatus = process->terminationStatus();
        if (exitStatus != 0) {
            log::warning(log::Category::system, "the command with administrator rights ended with "
                                                "status " +
                                                    std::to_string(exitStatus));
        }
        completion(exitStatus == 0);
    };
    if (const auto error = runner->run()) {
        log::warning(log::Category::system,
                     "cannot ask for administrator rights: " + error->description);
        completion(false);
    }
}

} // namespace kestrelnet
