// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/RootWorld.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrelnet {

/// What a process does in a run. Runs by the helper have no osascript, pkexec or shell.
enum class Role {
    application,
    osascript,
    /// Until it has become the front.
    pkexec,
    /// The process of the helper or of kestrelnet-run that is not root.
    front,
    guard,
    /// The command of the prompt, or what it has become.
    shell,
    /// The main process of the client.
    client,
};

const char* name(Role role);

/// A process as it was at one moment.
struct RunProcess {
    pid_t pid;
    pid_t parent;
    /// Its identifiers: the one here and, for a process of the guard's PID namespace, the one
    /// there.
    std::vector<pid_t> ids;
    std::string command;
    /// The API key in the environment that it was started with; may be empty.
    std::string key;
};

RunProcess look(const rootWorld::Survivor& process);

/// The process among `run`, the processes of one run, that has `role`.
std::optional<pid_t> processOf(Role role, const std::vector<RunProcess>& run, pid_t application,
                               bool isByPrompt);

/// The processor time that the process has used so far; none when there is no such process.
std::chrono::nanoseconds processorTime(pid_t pid);

} // namespace kestrelnet
