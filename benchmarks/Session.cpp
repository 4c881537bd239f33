// SPDX-License-Identifier: MIT
#include "benchmarks/Session.h"

#include "benchmarks/Figures.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace kestrelnet::benchmarks {

namespace {

using namespace std::chrono_literals;

constexpr auto pollInterval = 2ms;
/// What a window manager may not have noticed is tried again after this time.
constexpr auto patience = 5s;
constexpr auto quietSpan = 50ms;

constexpr int pointerX = 1200;
constexpr int pointerY = 10;

} // namespace

Session::Session(Surroundings& around, const std::string& application, std::string answers)
    : around_(around), answers_(std::move(answers)), program_(application) {
    around_.serveUntil([&] { return around_.tray.registered().has_value(); },
                       "no tray icon was registered");
    awaitStatus("Disconnected");
    awaitQuiet();
}

Session::~Session() {
    if (output_ >= 0) {
        ::close(output_);
    }
}

void Session::awaitQuiet() {
    benchmarks::awaitQuiet(around_, program_, quietSpan);
}

void Session::choose(const std::string& entry) {
    around_.serveUntil([&] { return around_.tray.choose(entry); },
                       "the icon's menu has no entry " + entry, pollInterval);
}

void Session::awaitStatus(const std::string& status) {
    const std::string toolTip = "Kestrelnet VPN: " + status;
    around_.serveUntil([&] { return around_.tray.toolTip() == toolTip; },
                       "the status is not " + status + " but " + around_.tray.toolTip());
}

void Session::connect() {
    choose("Connect");
    around_.serveUntil([&] { return hasClient(); }, "no client was started", pollInterval);
    openClientOutput();
    lookUp(1);
    awaitStatus("Connected");
}

/// Before a new child executes its program, its streams are those of the application.
bool Session::hasClient() const {
    const auto executable = [](pid_t process) {
        std::error_code error;
        return std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", error);
    };
    const pid_t child = program_.childIdentifier();
    if (child == 0) {
        return false;
    }
    const std::filesystem::path path = executable(child);
    return !path.empty() && path != executable(program_.identifier());
}

void Session::openClientOutput() {
    const std::string path = "/proc/" + std::to_string(program_.childIdentifier()) + "/fd/1";
    output_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
    need(output_ >= 0, "the client's output could not be opened");
}

void Session::disconnect() {
    ::close(std::exchange(output_, -1));
    choose("Disconnect");
    around_.serveUntil([&] { return program_.childIdentifier() == 0; }, "the client did not end",
                       pollInterval);
    awaitStatus("Disconnected");
}

void Session::toggleWindow(bool isOpen, const std::function<void()>& action, const char* failure) {
    const Time deadline = now() + Surroundings::bound;
    const auto done = [&] { return (around_.screen.windowCount() > 0) == isOpen; };
    do {
        need(now() < deadline, failure);
        action();
    } while (!around_.serve(done, patience, patience));
}

void Session::openPanel() {
    toggleWindow(
        true, [&] { around_.tray.activate(pointerX, pointerY); }, "the panel did not open");
}

void Session::closePanel() {
    toggleWindow(
        false, [&] { around_.tray.activate(pointerX, pointerY); }, "the panel did not close");
}

void Session::openSettings() {
    toggleWindow(
        true, [&] { around_.tray.openLink("kestrelnet://setup?key=dev_0123456789abcdef"); },
        "the settings window did not open");
    around_.serveUntil([&] { return around_.screen.isWindowPainted(); },
                       "the settings window was not painted", pollInterval);
}

void Session::closeSettings() {
    toggleWindow(
        false, [&] { around_.screen.closeActiveWindow(); }, "the settings window did not close");
}

std::uintmax_t Session::answerCount() const {
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(answers_, error);
    return error ? 0 : size;
}

void Session::lookUp(int count) {
    // A chunk that begins or ends inside a character is dropped, and the lines in it.
    awaitRead();
    const std::uintmax_t before = answerCount();
    for (int i = 0; i < count; ++i) {
        write("Split-tunnel routes: 203.0.113.0/24\n");
    }
    around_.serveUntil([&] { return answerCount() >= before + static_cast<std::uintmax_t>(count); },
                       "a lookup of the exit IP was not answered", pollInterval);
}

void Session::write(std::string_view output) {
    const Time deadline = now() + Surroundings::bound;
    while (!output.empty()) {
        const ssize_t count = ::write(output_, output.data(), output.size());
        if (count < 0) {
            need(errno == EAGAIN && now() < deadline, "the client's output was not read");
            // The application takes it while this program handles its messages.
            around_.serveFor(pollInterval);
        }
        output.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

void Session::awaitRead() {
    const auto isEmpty = [&] {
        int left = 0;
        return ::ioctl(output_, FIONREAD, &left) == 0 && left == 0;
    };
    around_.serveUntil(isEmpty, "the client's output was not read", pollInterval);
}

void Session::awaitHandled() {
    awaitRead();
    write("Network changed\n");
    awaitStatus("Reconnecting...");
    lookUp(1);
    awaitStatus("Connected");
}

} // namespace kestrelnet::benchmarks
