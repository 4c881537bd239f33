// SPDX-License-Identifier: MIT
#include "core/PromptLaunch.h"

#include "core/AdministratorStatement.h"
#include "core/RunFiles.h"
#include "core/TunnelManager.h"
#include "platform/FileManager.h"
#include "platform/Log.h"

#include <utility>

namespace kestrelnet {

namespace {

constexpr unsigned launcherMode = 0755;
constexpr unsigned fifoMode = 0600;
constexpr Seconds readerDelay{1.0};

std::string exportLine(const char* variable, const std::string& value) {
    return std::string("export ") + variable + "='" + value + "'\n";
}

/// Starts the process that reads the FIFO. `output` is null when the run has ended or its FIFO was
/// replaced, but not when the controller has only lost track of the run: its client starts only
/// when the FIFO is read.
void startReader(Process& reader, std::shared_ptr<Pipe> output) {
    reader.standardOutput = std::move(output);
    if (!reader.standardOutput) {
        // Another run may use a FIFO of the same name now. A reader whose output has no reading end
        // leaves the FIFO alone and ends.
        reader.standardOutput = std::make_shared<Pipe>();
        reader.standardOutput->closeReading();
    }
    if (const auto error = reader.run()) {
        log::warning(log::Category::tunnel, "cannot start the reader: " + error->description);
    }
    // Nothing stops the reader. It ends at its next write after the run, when the reading end is
    // closed, so this process must not keep that open.
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
    fifo_ = std::make_shared<const std::string>(fifoPath());
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
    const auto isForgotten = std::make_shared<bool>(false);
    readOutput(output->fileHandleForReading(), isForgotten);
    runner->relayedOutput = output;
    runner->relaySource = NamedPipe::at(*fifo_);

    tunnelProcess_ = runner;
    outputPipe_ = output;
    isOutputForgotten_ = isForgotten;
    std::unique_ptr<PreparedJob> readerStart;
    auto error = prepareStop();
    if (!error) {
        error = prepareReader(output, readerStart);
    }
    if (!error) {
        error = runner->run();
    }
    if (error) {
        reportFailedStart("Failed to start: ", *error);
        return;
    }
    readerStart->startAfter(readerDelay);
}

/// Creates everything but the process that reads the FIFO, so that only the start of that process
/// can fail after the start of the runner.
std::optional<Error> TunnelManager::prepareReader(const std::shared_ptr<Pipe>& output,
                                                  std::unique_ptr<PreparedJob>& start) const {
    const auto reader = Process::create();
    reader->executablePath = platform_.paths.tail;
    reader->arguments = {"-f", *fifo_};
    // The reader starts on a background thread, where the process's own environment cannot be read:
    // the main thread may change it at the same time.
    reader->environment = currentEnvironment();
    if (auto error = output->prepareReading()) {
        return error;
    }
    if (auto error = reader->prepare()) {
        return error;
    }
    // Until the start only the runner and the controller own the pipe.
    return platform_.backgroundQueue->prepare(
        [reader, fifo = std::weak_ptr(fifo_), outputPipe = std::weak_ptr(output)] {
            startReader(*reader, fifo.expired() ? nullptr : outputPipe.lock());
        },
        start);
}

} // namespace kestrelnet
