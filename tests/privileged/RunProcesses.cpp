// SPDX-License-Identifier: MIT
#include "tests/privileged/RunProcesses.h"

#include "tests/privileged/HelperTest.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <sstream>

namespace kestrelnet {

const char* name(Role role) {
    constexpr std::array names{"application", "osascript", "pkexec", "front",
                               "guard",       "shell",     "client"};
    return names[static_cast<std::size_t>(role)];
}

RunProcess look(const rootWorld::Survivor& process) {
    RunProcess seen{
        .pid = process.pid, .parent = -1, .ids = {}, .command = process.command, .key = {}};
    std::istringstream(processLine(process.pid, "status", "PPid:")) >> seen.parent;
    std::istringstream ids(processLine(process.pid, "status", "NSpid:"));
    for (pid_t id = 0; ids >> id;) {
        seen.ids.push_back(id);
    }
    const std::string variable = "DEVICE_API_KEY=";
    for (const std::string& entry : processEnvironment(process.pid)) {
        if (entry.starts_with(variable)) {
            seen.key = entry.substr(variable.size());
        }
    }
    return seen;
}

std::optional<pid_t> processOf(Role role, const std::vector<RunProcess>& run, pid_t application,
                               bool isByPrompt) {
    const auto first = [&run](const auto& matches) -> std::optional<pid_t> {
        const auto found = std::find_if(run.begin(), run.end(), matches);
        return found == run.end() ? std::nullopt : std::optional(found->pid);
    };
    // The guard is process 1 of its PID namespace, and starts process 2.
    const auto contained = [](pid_t id) {
        return
            [id](const RunProcess& seen) { return seen.ids.size() > 1 && seen.ids.back() == id; };
    };
    const auto outside = [](const std::string& program) {
        return [program](const RunProcess& seen) {
            return seen.ids.size() == 1 && seen.command.starts_with(program);
        };
    };
    const std::string helpers = rootWorld::bundle + "/Contents/Helpers/";
    switch (role) {
    case Role::application:
        return application;
    case Role::osascript:
        // Its child is osascript too, until it has become pkexec.
        return first([&](const RunProcess& seen) {
            return seen.parent == application && seen.command.starts_with(helpers + "osascript ");
        });
    case Role::pkexec:
        return first(outside("pkexec "));
    case Role::front:
        return first(
            outside(isByPrompt ? helpers + "kestrelnet-run " : "/Library/PrivilegedHelperTools/"));
    case Role::guard:
        return first(contained(1));
    case Role::shell:
        return first(contained(2));
    case Role::client:
        return first(contained(isByPrompt ? 3 : 2));
    }
    return std::nullopt;
}

std::chrono::nanoseconds processorTime(pid_t pid) {
    clockid_t clock = 0;
    timespec time{};
    if (::clock_getcpuclockid(pid, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
        return {};
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace kestrelnet
