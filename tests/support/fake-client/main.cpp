// SPDX-License-Identifier: MIT
// fake-client MODE FOLDER [ARGUMENT...]: the tunnel client of the tests. Without arguments, it
// reads them from the file with its own name plus ".arguments", one per line.
//
// It writes a description of itself to FOLDER/description (see `description`) and its process id to
// FOLDER/pid, and then does what the tables in OutputModes.cpp, ProcessModes.cpp and
// SystemModes.cpp say for MODE. A mode that does not exit then writes FOLDER/ready, handles
// commands, and writes the number of handled commands to FOLDER/obeyed. FOLDER/control is a named
// pipe that the test keeps open for writing. When the test closes it, the client and the processes
// that it has left behind exit.
//
// Commands on the control pipe, one per line:
//   out N, err N          write the N bytes that follow the line, in one write()
//   close-out, close-err  close that stream
//   exit N                end with status N
#include "tests/support/fake-client/Control.h"
#include "tests/support/fake-client/Facts.h"
#include "tests/support/fake-client/Modes.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

std::set<int> descriptors() {
    std::set<int> listed;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/fd")) {
        listed.insert(std::stoi(entry.path().filename().string()));
    }
    // Without the descriptor of the listing itself.
    std::erase_if(listed, [](int descriptor) { return fcntl(descriptor, F_GETFD) == -1; });
    return listed;
}

// Everything that the program has inherited, as "name value" entries, each ended by a NUL.
std::string description(char** arguments, char** environment) {
    std::ostringstream text;
    const auto add = [&text](std::string_view name, const auto& value) {
        text << name << ' ' << value << '\0';
    };
    for (char** argument = arguments; *argument != nullptr; ++argument) {
        add("argument", *argument);
    }
    for (char** entry = environment; *entry != nullptr; ++entry) {
        add("environment", *entry);
    }
    std::array<char, 4096> path{};
    add("working-directory", getcwd(path.data(), path.size()) == nullptr ? "" : path.data());
    add("process-group", getpgrp());
    const auto [real, effective, saved] = fakeClient::users();
    add("user",
        std::to_string(real) + " " + std::to_string(effective) + " " + std::to_string(saved));
    for (const int descriptor : descriptors()) {
        add("descriptor", descriptor);
    }
    sigset_t blocked;
    sigprocmask(SIG_SETMASK, nullptr, &blocked);
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction action = {};
        if (sigismember(&blocked, signal) == 1) {
            add("blocked-signal", signal);
        }
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            add("ignored-signal", signal);
        }
    }
    return text.str();
}

std::vector<std::string> commandLine(int count, char** arguments) {
    std::vector<std::string> found(arguments + std::min(count, 1), arguments + count);
    if (found.empty()) {
        std::ifstream lines(fakeClient::programPath() + ".arguments");
        for (std::string line; std::getline(lines, line);) {
            found.push_back(line);
        }
    }
    return found;
}

} // namespace

int main(int count, char** arguments, char** environment) {
    using namespace fakeClient;
    const std::vector<std::string> words = commandLine(count, arguments);
    if (words.size() < 2) {
        std::cerr << "usage: fake-client MODE FOLDER [ARGUMENT...]\n";
        return 64;
    }
    for (const auto modes : {outputModes(), processModes(), systemModes()}) {
        for (const Mode& mode : modes) {
            if (mode.name == words[0]) {
                setFolder(words[1]);
                publish("description", description(arguments, environment));
                publishProcess("pid");
                mode.run(words.size() > 2 ? words[2] : "");
                publish("ready", "");
                openControl();
                obey();
            }
        }
    }
    std::cerr << "fake-client: unknown mode\n";
    return 64;
}
