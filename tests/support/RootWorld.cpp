// SPDX-License-Identifier: MIT
#include "tests/support/RootWorld.h"

#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <ostream>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet::rootWorld {

namespace fs = std::filesystem;

const User user{"kestrel", 4711, 4711, "/home/kestrel"};
const User stranger{"stranger", 4712, 4712, "/home/stranger"};
const std::string bundle = "/usr/libexec/kestrelnet";

void installBundle() {
    fs::copy(KESTRELNET_BUILT_BUNDLE, bundle,
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    fs::remove(bundle + "/Contents/Resources/kestrelnet-client");
}

std::string install(const std::string& path, const std::string& folder) {
    fs::create_directories(folder);
    std::string target = folder + '/' + fs::path(path).filename().string();
    fs::copy_file(path, target, fs::copy_options::overwrite_existing);
    fs::permissions(target, static_cast<fs::perms>(0755));
    return target;
}

bool become(const User& who) {
    return ::initgroups(who.name.c_str(), who.gid) == 0 &&
           ::setresgid(who.gid, who.gid, who.gid) == 0 &&
           ::setresuid(who.uid, who.uid, who.uid) == 0;
}

int as(const User& who, const std::function<int()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(become(who) ? body() : 127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void signalProcesses(const User& who, int signal) {
    // The kernel leaves out the process that sends the signal.
    as(who, [signal] { return ::kill(-1, signal); });
}

void removeAdministrator(const User& who) {
    std::istringstream old(readFile("/etc/group"));
    std::string changed;
    for (std::string line; std::getline(old, line);) {
        if (line.starts_with("sudo:")) {
            line = line.substr(0, line.find(who.name));
        }
        changed += line + '\n';
    }
    std::ofstream("/etc/group", std::ios::trunc) << changed;
}

std::vector<Survivor> processes() {
    std::vector<Survivor> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (!std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            continue;
        }
        const pid_t pid = std::stoi(name);
        const std::string status = readFile(entry.path() / "stat");
        const std::size_t end = status.rfind(") ");
        struct stat owner {};
        if (pid == 1 || pid == ::getpid() || end == std::string::npos ||
            ::stat(entry.path().c_str(), &owner) != 0) {
            continue;
        }
        std::string command = readFile(entry.path() / "cmdline");
        std::replace(command.begin(), command.end(), '\0', ' ');
        if (command.empty()) {
            command = status.substr(0, end + 1);
        }
        found.push_back({pid, owner.st_uid, status[end + 2], command});
    }
    return found;
}

void PrintTo(const Survivor& survivor, std::ostream* out) {
    *out << survivor.pid << " of " << survivor.uid << ' ' << survivor.state << ' '
         << survivor.command;
}

} // namespace kestrelnet::rootWorld
