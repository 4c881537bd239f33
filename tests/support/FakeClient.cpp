// SPDX-License-Identifier: MIT
#include "tests/support/FakeClient.h"

#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {

FakeClient::FakeClient(std::string_view mode, std::string_view argument)
    : mode_(mode), argument_(argument) {
    const std::string control = folder_.file("control");
    // Open for reading too, so that neither end blocks in open().
    if (::mkfifo(control.c_str(), 0600) != 0 ||
        (control_ = ::open(control.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) < 0) {
        ADD_FAILURE() << "the control pipe could not be created";
    }
    executable_ = folder_.write("client", "#!/bin/sh\nexec '" KESTRELNET_FAKE_CLIENT "' '" +
                                              std::string(mode) + "' '" + folder_.path() + "' '" +
                                              std::string(argument) + "' \"$@\"\n");
    std::filesystem::permissions(executable_, std::filesystem::perms::owner_all);
}

FakeClient::~FakeClient() {
    ::close(control_);
    // The process id may have been reused, so recognise the process by the folder in its arguments.
    const auto ended = [this](std::optional<int> process) {
        return !process || commandLine(*process).find(folder_.path()) == std::string::npos;
    };
    [[maybe_unused]] const bool bothEnded =
        waitFor([&] { return ended(pid()) && ended(grandchild()); });
}

void FakeClient::makeWay(const std::string& path) const {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::filesystem::remove(path);
}

void FakeClient::installAt(const std::string& path) const {
    makeWay(path);
    std::filesystem::create_symlink(executable_, path);
}

void FakeClient::installScriptAt(const std::string& path) const {
    makeWay(path);
    std::filesystem::copy_file(executable_, path);
}

void FakeClient::installProgramAt(const std::string& path) const {
    makeWay(path);
    std::filesystem::copy_file(KESTRELNET_FAKE_CLIENT, path);
    std::ofstream(path + ".arguments") << mode_ << '\n'
                                       << folder_.path() << '\n'
                                       << argument_ << '\n';
}

bool FakeClient::isReady() const {
    return std::filesystem::exists(folder_.file("ready"));
}

bool FakeClient::isHeard() const {
    return isReady() && number("obeyed").value_or(0) == commands_ && unreadOutput() == 0;
}

int FakeClient::unreadOutput() const {
    return unreadBytes(pid().value_or(0), STDOUT_FILENO);
}

bool FakeClient::isAlive() const {
    const auto started = pid();
    return started && kestrelnet::isAlive(*started);
}

bool FakeClient::isGone() const {
    const auto started = pid();
    return started && kestrelnet::isGone(*started);
}

std::size_t FakeClient::terminations() const {
    return readFile(folder_.file("terminations")).size();
}

bool FakeClient::hasCleanedUp() const {
    return std::filesystem::exists(folder_.file("cleaned"));
}

std::vector<std::string> FakeClient::found(std::string_view name) const {
    const std::string description = readFile(folder_.file("description"));
    const std::string start = std::string(name) + ' ';
    std::vector<std::string> values;
    for (std::size_t at = 0; at < description.size();) {
        const std::string entry = description.c_str() + at;
        if (entry.starts_with(start)) {
            values.push_back(entry.substr(start.size()));
        }
        at += entry.size() + 1;
    }
    return values;
}

std::vector<std::string> FakeClient::arguments() const {
    std::vector<std::string> all = found("argument");
    // The script passes four arguments first: program, mode, folder, argument of the mode.
    constexpr std::ptrdiff_t own = 4;
    if (std::ssize(all) < own) {
        ADD_FAILURE() << "the program has written no description";
        return {};
    }
    all.erase(all.begin(), all.begin() + own);
    return all;
}

std::optional<std::string> FakeClient::environment(std::string_view name) const {
    const std::string start = std::string(name) + '=';
    for (const std::string& entry : found("environment")) {
        if (entry.starts_with(start)) {
            return entry.substr(start.size());
        }
    }
    return std::nullopt;
}

void FakeClient::say(std::string_view bytes) const {
    command("out " + std::to_string(bytes.size()) + "\n" + std::string(bytes));
}

void FakeClient::sayOnError(std::string_view bytes) const {
    command("err " + std::to_string(bytes.size()) + "\n" + std::string(bytes));
}

std::optional<int> FakeClient::number(std::string_view file) const {
    const std::string text = readFile(folder_.file(file));
    return text.empty() ? std::nullopt : std::optional(std::stoi(text));
}

std::optional<int> FakeClient::process(std::string_view file) const {
    std::istringstream text(readFile(folder_.file(file)));
    int pid = 0;
    std::string space;
    if (!(text >> pid >> space)) {
        return std::nullopt;
    }
    return identifierHere(pid, space);
}

void FakeClient::command(std::string_view bytes) const {
    ++commands_;
    // A program that has ended reads no more, so the wait for space in the pipe is bounded.
    const bool isWritten = waitFor([&] {
        const ssize_t count = ::write(control_, bytes.data(), bytes.size());
        bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return bytes.empty();
    });
    if (!isWritten) {
        ADD_FAILURE() << "the program does not read its commands";
    }
}

bool isGone(int pid) {
    return ::kill(pid, 0) != 0 && errno == ESRCH;
}

} // namespace kestrelnet
