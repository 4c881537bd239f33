// SPDX-License-Identifier: MIT
// Linux also signals processes that have ended, so that kill() cannot tell.
#include "privileged/posix/ProcessGroup.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace kestrelnet::privileged {

namespace {

/// Whether the process with the folder `folder` of /proc is a member of `group` that has not ended.
bool isMember(const std::filesystem::path& folder, pid_t group) {
    std::string line;
    std::getline(std::ifstream(folder / "stat"), line);
    // The name of the program, in parentheses, may contain anything.
    std::istringstream fields(line.substr(line.rfind(')') + 1));
    char state = 'X';
    pid_t parent = -1;
    pid_t groupOfProcess = -1;
    fields >> state >> parent >> groupOfProcess;
    return groupOfProcess == group && state != 'Z' && state != 'X';
}

} // namespace

bool processGroup::isPopulated(pid_t group) {
    const std::filesystem::directory_iterator processes("/proc");
    return std::any_of(begin(processes), end(processes), [group](const auto& entry) {
        const std::string name = entry.path().filename();
        return name.find_first_not_of("0123456789") == std::string::npos &&
               isMember(entry.path(), group);
    });
}

} // namespace kestrelnet::privileged
