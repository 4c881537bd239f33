// SPDX-License-Identifier: MIT
#include "core/PromptLaunch.h"

#include "core/AdministratorStatement.h"
#include "core/RunFiles.h"
#include "core/TunnelManager.h"
#include "platform/FileManager.h"
#include "platform/Log.h"

namespace kestrelnet {

namespace {

constexpr unsigned launcherMode = 0755;
constexpr unsigned fifoMode = 0600;
constexpr Seconds readerDelay{1.0};

std::string exportLine(const char* variable, const std::string& value) {
    return std::string("export ") + variable + "='" + value + "'\n";
}

/// Starts the process that reads the FIFO. `outputPipe` has expired when the run has ended.
void startReader(Process& reader, const std::weak_ptr<Pipe>& outputPipe) {
    reader.standardOutput = outputPipe.lock();
    if (!reader.standardOutput) {
        // The next run may already use a FIFO of the same name. A reader whose output has no
        // reading end leaves the FIFO alone and ends.
        reader.standardOutput = std::make_shared<Pipe>();
        reader.standardOutput->closeReading();
    }
    if (const auto error = reader.run()) {
        log::warning(log::Category::tunnel, "cannot start the reader: " + error->description);
    }
    // Nothing stops the reader. It ends at its next write after the controller released the pipe,
    // so this process must not keep the reading end open.
    reader.standardOutput.reset();
}

} // namespace

std::string launcherScript(const LauncherValues& values) {
    return "#!/bin/bash\n" + exportLine(product::keyVariable, values.apiKey) +
           exportLine(product::authURLVariable, values.authURL) +
           exportLine(product::relayAddressVariable, values.relayAddress) + "stdbuf -oL '" +
           values.clientPath + "' 2>&1";
}

std::string runnerCommand(const std::string& launcherPath, const std::string& fifoPath) {
    return administratorStatement(launcherPath + " > " + fifoPath + " 2>&1");
}

std::string TunnelManager::launcherPath() const {
    return platform_.paths.temporaryDirectory + runFiles::launcher;
}

std::string TunnelManager::fifoPath() const {
    return platform_.paths.temporaryDirectory + runFiles::outputPipe;
}

void TunnelManager::createRunFiles(const std::string& clientPath) {
    const std::string script = launcherScript({.apiKey = apiKey,
                                               .authURL = operator_.authURL,
                                               .relayAddress = operator_.relayAddress,
                                               .clientPath = clientPath});
    // A failure does not stop the run.
    if (!files::writeAtomically(launcherPath(), script)) {
        log::warning(log::Category::tunnel, "cannot write " + launcherPath());
    }
    if (!files::setPermissions(launcherPath(), launcherMode)) {
        log::warning(log::Category::tunnel, "cannot make executable " + launcherPath());
    }
    files::remove(fifoPath());
    if (!files::makeFifo(fifoPath(), fifoMode)) {
        log::warning(log::Category::tunnel, "cannot create the FIFO " + fifoPath());
    }
}

void TunnelManager::startViaOsascript() {
    const auto clientPath = binaryPath();
    if (!clientPath) {
        return;
    }
    createRunFiles(*clientPath);

    const auto runner = Process::create();
    runner->executablePath = platform_.paths.osascript;
    runner->arguments = {"-e", runnerCommand(launcherPath(), fifoPath())};
    runner->terminationHandler = terminationHandler();
    const auto output = std::make_shared<Pipe>();
    readOutput(output->fileHandleForReading());

    tunnelProcess_ = runner;
    outputPipe_ = output;
    if (const auto error = runner->run()) {
        status = TunnelStatus::error;
        lastLog = "Failed to start: " + error->description;
        log::warning(log::Category::tunnel, *lastLog);
        return;
    }
    const auto reader = Process::create();
    reader->executablePath = platform_.paths.tail;
    reader->arguments = {"-f", fifoPath()};
    // The reader starts on a background thread, where the process's own environment cannot be read:
    // the main thread may change it at the same time.
    reader->environment = currentEnvironment();
    // Until then only the controller owns the pipe. It releases the pipe when the run ends.
    platform_.backgroundQueue->asyncAfter(
        readerDelay,
        [reader, outputPipe = std::weak_ptr<Pipe>(output)] { startReader(*reader, outputPipe); });
}

} // namespace kestrelnet
