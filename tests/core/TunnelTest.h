// SPDX-License-Identifier: MIT
#pragma once

#include "core/TunnelManager.h"
#include "tests/support/FakeClient.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TunnelManagerInspector.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace kestrelnet {

inline void PrintTo(TunnelStatus status, std::ostream* out) {
    *out << rawValue(status);
}

/// A controller on a platform of its own, with a valid key and an installed client, and a helper
/// that is whatever client the test installs.
class TunnelTest : public testing::Test {
  protected:
    static constexpr const char* validKey = "dev_0123456789";
    static constexpr const char* exitMessage = "VPN process exited unexpectedly";

    /// The values of a controller's members at one moment.
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

    /// Makes a client and puts it in the helper's place.
    FakeClient& install(std::string_view mode, std::string_view argument = "");
    /// The same, and connects; waits until the client's own part is done.
    FakeClient& start(std::string_view mode = "script", std::string_view argument = "");
    /// Makes a client and puts it in the place of the program at `path`.
    FakeClient& installAt(const std::string& path, std::string_view mode);
    void removeClient() const;

    /// Lets `client` write `chunk` to its standard output, as one chunk, and runs the job that
    /// this becomes.
    void feed(const FakeClient& client, std::string_view chunk);
    /// The same on standard error.
    void feedError(const FakeClient& client, std::string_view chunk);

    /// Waits, with main jobs running, until the status is `status`.
    bool reaches(TunnelStatus status);
    /// Waits, with main jobs held, until the process of the run has ended and this was posted.
    bool endsUnnoticed(const FakeClient& client);

    Snapshot snapshot() const;
    /// What the members were at each notice from now on.
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
    // The clients go away last: one that waits to be read ends only once nobody reads any more.
    std::vector<std::unique_ptr<FakeClient>> clients_;
    ObservableObjectPublisher::Subscription recording_;

  protected:
    std::unique_ptr<TestPlatform> world = std::make_unique<TestPlatform>();
    VirtualTime& time = world->time;
    std::shared_ptr<TunnelManager> manager;
    std::vector<Snapshot> notices;
};

} // namespace kestrelnet
