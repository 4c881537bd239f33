// SPDX-License-Identifier: MIT
#pragma once

#include "core/TunnelManager.h"
#include "tests/support/FakeClient.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TunnelManagerInspector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace kestrelnet {

inline constexpr std::array everyStatus{TunnelStatus::disconnected, TunnelStatus::connecting,
                                        TunnelStatus::connected, TunnelStatus::reconnecting,
                                        TunnelStatus::error};

inline void PrintTo(TunnelStatus status, std::ostream* out) {
    *out << rawValue(status);
}

/// A controller on a test platform, with a valid key, an installed client and a helper, which is
/// the client that the test installs.
class TunnelTest : public testing::Test {
  protected:
    static constexpr const char* validKey = "dev_0123456789";
    static constexpr const char* exitMessage = "VPN process exited unexpectedly";

    /// The values of the controller's members at one time.
    struct Snapshot {
        std::string status;
        std::string lastLog;
        std::string exitIP;
        std::string serverLocation;

        bool operator==(const Snapshot&) const = default;
        friend void PrintTo(const Snapshot& snapshot, std::ostream* out) {
            *out << snapshot.status << " | " << snapshot.lastLog << " | " << snapshot.exitIP
                 << " | " << snapshot.serverLocation;
        }
    };

    TunnelTest();
    ~TunnelTest() override;

    /// Creates a client and installs it as the helper.
    FakeClient& install(std::string_view mode, std::string_view argument = "");
    /// The same. Then connects and waits until the client is ready.
    FakeClient& start(std::string_view mode = "script", std::string_view argument = "");
    /// Creates a client and installs it as the program at `path`.
    FakeClient& installAt(const std::string& path, std::string_view mode,
                          std::string_view argument = "");
    void removeClient() const;

    /// Lets `client` write `chunk` to its standard output as one chunk, and runs the main job
    /// that handles it.
    void feed(const FakeClient& client, std::string_view chunk);
    /// The same for standard error.
    void feedError(const FakeClient& client, std::string_view chunk);

    /// Runs main jobs until the status is `status`.
    bool reaches(TunnelStatus status);
    /// Waits, without running main jobs, until the process of the run has ended and a job for that
    /// was posted after the `waiting` jobs.
    bool endsUnnoticed(const FakeClient& client, std::size_t waiting = 0);

    Snapshot snapshot() const;
    /// Records the members' values at each notice from now on.
    void recordNotices();
    std::vector<std::string> log() const { return TunnelManagerInspector::logLines(*manager); }
    std::shared_ptr<Process> process() const { return TunnelManagerInspector::process(*manager); }
    std::shared_ptr<Pipe> pipe() const { return TunnelManagerInspector::outputPipe(*manager); }
    const Paths& paths() const { return world->platform.paths; }
    std::string temporary(std::string_view name) const {
        return paths().temporaryDirectory + std::string(name);
    }
    std::shared_ptr<TunnelManager> makeManager() const;

    OperatorValues operatorValues;

  private:
    // Destroyed last: a client that waits for its reader ends only when the reader is gone.
    std::vector<std::unique_ptr<FakeClient>> clients_;
    ObservableObjectPublisher::Subscription recording_;

  protected:
    std::unique_ptr<TestPlatform> world = std::make_unique<TestPlatform>();
    VirtualTime& time = world->time;
    std::shared_ptr<TunnelManager> manager;
    std::vector<Snapshot> notices;
};

} // namespace kestrelnet
