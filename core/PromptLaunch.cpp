// SPDX-License-Identifier: MIT
#include "core/PromptLaunch.h"

#include "core/RunFiles.h"
#include "core/TunnelManager.h"
#include "platform/FileManager.h"

namespace kestrelnet {

namespace {

constexpr unsigned launcherMode = 0755;
constexpr unsigned fifoMode = 0600;
constexpr Seconds readerDelay{1.0};

std::string exportLine(const char* variable, const std::string& value) {
    return std::string("export ") + variable + "='" + value + "'\n";
}

} // namespace

std::string launcherScript(const LauncherValues& values) {
    return "#!/bin/bash\n" + exportLine(product::keyVariable, values.apiKey) +
           exportLine(product::authURLVariable, values.authURL) +
           exportLine(product::relayAddressVariable, values.relayAddress) + "stdbuf -oL '" +
           values.clientPath + "' 2>&1";
}

std::string runnerCommand(const std::string& launcherPath, const std::string& fifoPath) {
    return "do shell script \"" + launcherPath + " > " + fifoPath +
           " 2>&1\" with administrator privileges";
}

std::string TunnelManager::launcherPath() const {
    return platform_.paths.temporaryDirectory + runFiles::launcher;
}

std::string TunnelManager::fifoPath() const {
    return platform_.paths.temporaryDirectory + runFiles::outputPipe;
}

void TunnelManager::startViaOsascript() {
    const auto clientPath = binaryPath();
    if (!clientPath) {
        return;
    }
    const auto reader = Process::create();
    const auto output = std::make_shared<Pipe>();

    files::writeAtomically(launcherPath(), launcherScript({.apiKey = apiKey,
                                                           .authURL = operator_.authURL,
                                                           .relayAddress = operator_.relayAddress,
                                                           .clientPath = *clientPath}));
    files::setPermissions(launcherPath(), launcherMode);
    files::remove(fifoPath());
    files::makeFifo(fifoPath(), fifoMode);

    const auto runner = Process::create();
    runner->executablePath = platform_.paths.osascript;
    runner->arguments = {"-e", runnerCommand(launcherPath(), fifoPath())};
    runner->terminationHandler = terminationHandler();
    reader->executablePath = platform_.paths.tail;
    reader->arguments = {"-f", fifoPath()};
    reader->standardOutput = output;
    readOutput(output->fileHandleForReading());

    tunnelProcess_ = runner;
    outputPipe_ = output;
    if (const auto error = runner->run()) {
        status = TunnelStatus::error;
        lastLog = "Failed to start: " + error->description;
        return;
    }
    // The reader has the run's output only once it is started: the shell waits for it at the FIFO.
    platform_.backgroundQueue->asyncAfter(readerDelay, [reader] {
        const bool isOver = reader->standardOutput.use_count() == 1;
        if (isOver) {
            // The FIFO of that name may be the next run's. A reader that nobody reads leaves it
            // alone.
            reader->standardOutput->closeReading();
        }
        [[maybe_unused]] const auto error = reader->run();
        // Nobody stops the reader: once the controller lets go of the pipe, its next write fails.
        reader->standardOutput.reset();
    });
}

} // namespace kestrelnet
