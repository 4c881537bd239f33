// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"

namespace kestrelnet {

void TunnelManager::startViaHelper() {
    const auto process = Process::create();
    const auto output = std::make_shared<Pipe>();
    const auto errors = std::make_shared<Pipe>();

    Environment environment = currentEnvironment();
    environment[product::keyVariable] = apiKey;
    environment[product::authURLVariable] = operator_.authURL;
    environment[product::relayAddressVariable] = operator_.relayAddress;

    process->executablePath = platform_.paths.helper;
    process->environment = std::move(environment);
    process->standardOutput = output;
    process->standardError = errors;
    readOutput(errors->fileHandleForReading());
    const auto isForgotten = std::make_shared<bool>(false);
    readOutput(output->fileHandleForReading(), isForgotten);
    process->terminationHandler = terminationHandler();

    // Stored before the start: a process that could not be started is replaced by the next run, or
    // released by a disconnect, like any other.
    tunnelProcess_ = process;
    outputPipe_ = output;
    isOutputForgotten_ = isForgotten;
    auto error = prepareStop();
    if (!error) {
        error = process->run();
    }
    if (error) {
        reportFailedStart("Failed to start helper: ", *error);
    }
}

} // namespace kestrelnet
