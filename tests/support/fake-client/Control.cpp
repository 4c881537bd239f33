// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Control.h"

#include "tests/support/fake-client/Facts.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <unistd.h>

namespace fakeClient {

namespace {

std::string folder;
int control = -1;

// Reads one byte of the control pipe; exits when the test has closed it.
char readControl() {
    for (;;) {
        char byte = 0;
        const ssize_t count = read(control, &byte, 1);
        if (count == 1) {
            return byte;
        }
        if (count == 0) {
            std::_Exit(0);
        }
        pollfd wait{control, POLLIN, 0};
        poll(&wait, 1, -1);
    }
}

std::string readControl(std::size_t count) {
    std::string bytes;
    while (bytes.size() < count) {
        bytes += readControl();
    }
    return bytes;
}

std::string readCommand() {
    std::string line;
    for (char byte = readControl(); byte != '\n'; byte = readControl()) {
        line += byte;
    }
    return line;
}

} // namespace

void setFolder(const std::string& path) {
    folder = path;
}

std::string inFolder(std::string_view name) {
    return folder + "/" + std::string(name);
}

void publish(std::string_view name, std::string_view text) {
    const std::string draft = inFolder(std::string(name) + "." + std::to_string(getpid()));
    std::ofstream(draft) << text;
    if (std::rename(draft.c_str(), inFolder(name).c_str()) != 0) {
        std::_Exit(70);
    }
}

void publishProcess(std::string_view name) {
    publish(name, std::to_string(getpid()) + ' ' + processSpace());
}

void say(int stream, std::string_view bytes) {
    if (write(stream, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        std::_Exit(74);
    }
}

void sayAll(int stream, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(stream, bytes.data(), bytes.size());
        if (count <= 0) {
            std::_Exit(74);
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void tryToSay(std::string_view bytes) {
    [[maybe_unused]] const ssize_t count = write(1, bytes.data(), bytes.size());
}

int openControl() {
    // Non-blocking, so that the first read returns end-of-file if the test has ended already.
    control = open(inFolder("control").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (control < 0) {
        std::_Exit(66);
    }
    return control;
}

void obey() {
    for (int obeyed = 1;; ++obeyed) {
        const std::string line = readCommand();
        const std::string_view command = std::string_view(line).substr(0, line.find(' '));
        const auto number = [&line, &command] { return std::stoul(line.substr(command.size())); };
        if (command == "out") {
            say(1, readControl(number()));
        } else if (command == "err") {
            say(2, readControl(number()));
        } else if (command == "close-out") {
            close(1);
        } else if (command == "close-err") {
            close(2);
        } else if (command == "exit") {
            std::_Exit(static_cast<int>(number()));
        } else {
            std::_Exit(64);
        }
        publish("obeyed", std::to_string(obeyed));
    }
}

} // namespace fakeClient
