// SPDX-License-Identifier: MIT
// A program under measurement, and its resource use by the kernel's accounting.
#pragma once

#include "benchmarks/Figures.h"

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kestrelnet::benchmarks {

/// The use of a process so far, over all its threads.
struct Usage {
    long contextSwitches = 0;
    /// Processor time.
    double milliseconds = 0;

    bool operator==(const Usage&) const = default;
};

struct Command {
    /// With its folder.
    std::string path;
    std::vector<std::string> arguments = {};
    /// "NAME=VALUE", in addition to the environment of this program.
    std::vector<std::string> variables = {};
    /// Whether what it prints is discarded.
    bool isSilent = false;
};

/// Runs from construction to destruction.
class ChildProcess {
  public:
    explicit ChildProcess(const std::string& path, std::vector<std::string> arguments = {});
    explicit ChildProcess(const Command& command);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t identifier() const { return pid_; }
    Time startTime() const { return start_; }

    Usage usage() const;
    /// The processor time of all threads so far, also of those that have ended.
    double processorMilliseconds() const;
    /// The proportional set size, in MiB.
    double memory() const;
    /// The same with its descendants.
    double treeMemory() const;
    /// The part of it that holds no file, in MiB.
    double ownMemory() const;
    /// The resident set size, in MiB.
    double residentMemory() const;
    int descriptorCount() const;
    int threadCount() const;
    /// Whether a file whose path contains `part` is in its memory.
    bool hasMapped(std::string_view part) const;
    /// The first child process of its main thread, or 0.
    pid_t childIdentifier() const;

  private:
    double memoryOf(const char* label) const;

    Time start_;
    pid_t pid_ = 0;
};

} // namespace kestrelnet::benchmarks
