// SPDX-License-Identifier: MIT
// The controller on the real system, without windows. A test drives it from outside.
//
// Commands, one per line on standard input:
//   key TEXT      assigns the key
//   connect, disconnect
//   install       installs the helper
//   login on|off  switches start at login
//   uninstall     removes everything
//   quit          does what the panel's "Quit" does: disconnects, and exits half a second later
// Output, one per line on standard output:
//   status TEXT   the status, at start and after each change
//   log TEXT      the last line of the log, after each change
//   installed true|false   the result of an installation
//   switched               start at login was switched
//   uninstalled            uninstalling has ended
// SIGTERM has the effect of "quit". The program exits at once, without a disconnect, at the end of
// its standard input.
#include "core/TunnelManager.h"
#include "platform/EndRequests.h"

#include <QCoreApplication>

#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <thread>

// Turns reports of the thread sanitizer off. The suppressions for libraries are not available here,
// and the sanitizer would start a process, although tests count the processes.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" const char* __tsan_default_options();
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" const char* __tsan_default_options() {
    return "report_bugs=0";
}

namespace kestrelnet {
namespace {

class Reporter {
  public:
    explicit Reporter(std::shared_ptr<TunnelManager> tunnel) : tunnel_(std::move(tunnel)) {
        report();
        subscription_ = tunnel_->objectWillChange.subscribe([this] {
            // A notice comes before its value is stored, so report now and in the next turn.
            report();
            queue_->async([this] { report(); });
        });
    }

  private:
    void report() {
        print("status", std::string(rawValue(tunnel_->status)), status_);
        print("log", *tunnel_->lastLog, log_);
    }

    static void print(const char* name, std::string value, std::string& last) {
        if (value != last) {
            std::cout << name << ' ' << value << std::endl;
            last = std::move(value);
        }
    }

    std::shared_ptr<TunnelManager> tunnel_;
    std::shared_ptr<Queue> queue_ = dispatch::mainQueue();
    std::string status_;
    std::string log_;
    ObservableObjectPublisher::Subscription subscription_;
};

void quit(TunnelManager& tunnel) {
    using namespace std::chrono_literals;
    tunnel.disconnect();
    dispatch::mainQueue()->asyncAfter(500ms, [] { QCoreApplication::exit(); });
}

void execute(TunnelManager& tunnel, const std::string& line) {
    const std::string key = "key ";
    if (line.starts_with(key)) {
        tunnel.apiKey = line.substr(key.size());
    } else if (line == "connect") {
        tunnel.connect();
    } else if (line == "disconnect") {
        tunnel.disconnect();
    } else if (line == "install") {
        tunnel.installHelper([](bool installed) {
            std::cout << "installed " << (installed ? "true" : "false") << std::endl;
        });
    } else if (line == "login on" || line == "login off") {
        tunnel.setStartAtLogin(line == "login on");
        std::cout << "switched" << std::endl;
    } else if (line == "uninstall") {
        tunnel.uninstall([] { std::cout << "uninstalled" << std::endl; });
    } else if (line == "quit") {
        quit(tunnel);
    } else {
        std::cerr << "controller: unknown command: " << line << '\n';
        std::_Exit(64);
    }
}

void readCommands(const std::shared_ptr<Queue>& queue,
                  const std::shared_ptr<TunnelManager>& tunnel) {
    for (std::string line; std::getline(std::cin, line);) {
        queue->async([tunnel, line] { execute(*tunnel, line); });
    }
    std::_Exit(0);
}

} // namespace
} // namespace kestrelnet

int main(int count, char** arguments) {
    using namespace kestrelnet;
    const QCoreApplication application(count, arguments);
    const auto tunnel = std::make_shared<TunnelManager>();
    const Reporter reporter(tunnel);
    const EndRequests endRequests([&tunnel] { quit(*tunnel); });
    std::thread(readCommands, dispatch::mainQueue(), tunnel).detach();
    const int status = QCoreApplication::exec();
    std::_Exit(status);
}
