// SPDX-License-Identifier: MIT
// Throughput of the handling of the client's output, relative to cat on the same kind of pipe; and
// the growth of memory and the delay of the main loop meanwhile.

#include "benchmarks/Controller.h"
#include "benchmarks/Figures.h"
#include "benchmarks/Flood.h"

#include <QCoreApplication>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere.

namespace {

using namespace kestrelnet;
using namespace kestrelnet::benchmarks;
using namespace std::chrono_literals;

constexpr int rounds = 3;
constexpr auto probeInterval = 1ms;
constexpr double mebibyte = 1024.0 * 1024.0;
constexpr double floodMebibytes = static_cast<double>(flood::byteCount) / mebibyte;

double residentMebibytes() {
    std::ifstream file("/proc/self/statm");
    double total = 0;
    double resident = 0;
    file >> total >> resident;
    return resident * static_cast<double>(::sysconf(_SC_PAGESIZE)) / mebibyte;
}

/// Posts an event to the main loop at fixed intervals. Records its delay and the largest memory use
/// of the process.
class Probe {
  public:
    Probe()
        : before_(residentMebibytes()), largest_(before_), thread_([this](auto stop) {
              while (!stop.stop_requested()) {
                  std::this_thread::sleep_for(probeInterval);
                  post();
              }
          }) {}

    /// Main thread only.
    void stop() {
        thread_.request_stop();
        thread_.join();
        QCoreApplication::processEvents();
    }

    const std::vector<double>& delays() const { return delays_; }
    double growth() const { return largest_ - before_; }

  private:
    void post() {
        largest_ = std::max(largest_, residentMebibytes());
        mainQueue_->async(
            [this, posted = now()] { delays_.push_back(millisecondsBetween(posted, now())); });
    }

    const std::shared_ptr<Queue> mainQueue_ = dispatch::mainQueue();
    double before_;
    double largest_;
    std::vector<double> delays_;
    std::jthread thread_;
};

pid_t spawn(const std::string& path, int input, int output) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    char* const arguments[] = {const_cast<char*>(path.c_str()), nullptr};
    pid_t pid = 0;
    if (::posix_spawn(&pid, path.c_str(), &actions, nullptr, arguments, environ) != 0) {
        giveUp(path + " could not be started");
    }
    ::posix_spawn_file_actions_destroy(&actions);
    return pid;
}

/// The milliseconds that cat needs for the flood.
double floodThroughCat(const std::string& client) {
    int ends[2];
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nowhere < 0 || ::pipe2(ends, O_CLOEXEC) != 0) {
        giveUp("no pipe could be created");
    }
    const Time start = now();
    const pid_t writer = spawn(client, nowhere, ends[1]);
    const pid_t reader = spawn("/bin/cat", ends[0], nowhere);
    ::close(ends[0]);
    ::close(ends[1]);
    ::close(nowhere);
    ::waitpid(reader, nullptr, 0);
    const double taken = millisecondsBetween(start, now());
    ::kill(writer, SIGTERM);
    ::waitpid(writer, nullptr, 0);
    return taken;
}

/// The milliseconds from connect() until the flood's last line is handled.
double floodThroughController(Controller& controller) {
    TunnelManager& tunnel = controller.tunnel();
    const std::size_t noticesBefore = controller.noticeCount();
    const Time start = now();
    tunnel.connect();
    controller.serveUntil([&] { return *tunnel.serverLocation == flood::lastServer; }, 300s,
                          "the flood did not end");
    const double taken = millisecondsBetween(start, now());
    if (controller.noticeCount() - noticesBefore < flood::lineCount) {
        giveUp("fewer lines were handled than written");
    }
    tunnel.disconnect();
    controller.serveUntil([&] { return tunnel.status == TunnelStatus::disconnected; }, 20s,
                          "the flooding client did not end");
    return taken;
}

std::string rate(double milliseconds) {
    return number(floodMebibytes / milliseconds * 1000, 0) + " MiB/s";
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const std::string client = besideThisProgram("flooding-client");
    Controller controller(client);

    std::vector<double> cat;
    std::vector<double> ours;
    std::vector<double> delays;
    double growth = 0;
    floodThroughCat(client);
    for (int round = 0; round < rounds; ++round) {
        cat.push_back(floodThroughCat(client));
        Probe probe;
        ours.push_back(floodThroughController(controller));
        probe.stop();
        delays.insert(delays.end(), probe.delays().begin(), probe.delays().end());
        growth = std::max(growth, probe.growth());
    }

    report({"Client output, throughput against cat", median(cat) / median(ours), Bound::atLeast,
            0.5, " x", 2, rate(median(ours)) + " against " + rate(median(cat))});
    report({"Memory growth during it", growth, Bound::below, 8, " MiB", 1});
    report({"Delay of a posted event during it, p99", quantile(delays, 0.99), Bound::atMost, 16,
            " ms", 2,
            "median " + number(median(delays), 2) + " ms, longest " +
                number(quantile(delays, 1), 2) + " ms"});
}
