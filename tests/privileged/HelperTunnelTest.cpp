// SPDX-License-Identifier: MIT
// The controller, run by an ordinary user, with the helper that the installer has installed.
#include "tests/privileged/HelperTest.h"
#include "tests/support/ChildProgram.h"

#include <filesystem>
#include <set>
#include <signal.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class HelperTunnelTest : public HelperTest {
  protected:
    void SetUp() override {
        const std::string contents = rootWorld::bundle + "/Contents";
        for (const char* part :
             {"/Resources/install-helper.sh", "/Helpers/com.kestrelnetvpn.tunnel"}) {
            rootWorld::install(KESTRELNET_BUILT_BUNDLE + std::string("/Contents") + part,
                               fs::path(contents + part).parent_path());
        }
        program_ = rootWorld::install(KESTRELNET_CONTROLLER, contents + "/Linux");
    }

    void TearDown() override {
        controller.reset();
        HelperTest::TearDown();
    }

    /// Puts a client into /usr/local/bin and runs the installer.
    FakeClient& install(std::string_view mode, std::string_view argument = "") {
        client_ = std::make_unique<FakeClient>(mode, argument);
        client_->installScriptAt("/usr/local/bin/kestrelnet-client");
        EXPECT_EQ(
            runAsRoot("/bin/bash /usr/libexec/kestrelnet/Contents/Resources/install-helper.sh "
                      ">/tmp/output 2>&1"),
            0)
            << readFile("/tmp/output");
        return *client_;
    }

    void startController() {
        const std::string uid = std::to_string(rootWorld::user.uid);
        controller.emplace(std::vector<std::string>{"setpriv", "--reuid=" + uid, "--regid=" + uid,
                                                    "--init-groups", "--reset-env", program_});
        EXPECT_TRUE(controller->reads("status Disconnected"));
        controller->tell("key dev_0123456789");
    }

    /// Installs a client, starts the controller and connects.
    FakeClient& connect(std::string_view mode, std::string_view argument = "") {
        FakeClient& client = install(mode, argument);
        startController();
        controller->tell("connect");
        EXPECT_TRUE(waitFor([&client] { return client.isReady(); }));
        return client;
    }

    std::optional<ChildProgram> controller;

  private:
    std::string program_;
};

TEST_F(HelperTunnelTest, connectsAndDisconnectsWithoutAPassword) {
    for (int round = 0; round < 3; ++round) {
        const FakeClient& client = connect("relay-then-routes");
        EXPECT_TRUE(controller->reads("log Split-tunnel routes: 2 applied"));
        EXPECT_TRUE(controller->reads("status Connected"));
        EXPECT_EQ(processLine(*client.pid(), "status", "Uid:"), "0\t0\t0\t0");
        EXPECT_EQ(client.environment("DEVICE_API_KEY"), "dev_0123456789");
        controller->tell("disconnect");
        EXPECT_TRUE(controller->reads("status Disconnected"));
        EXPECT_TRUE(waitFor([&] { return rootWorld::processes().size() == 1; }))
            << testing::PrintToString(rootWorld::processes());
    }
}

TEST_F(HelperTunnelTest, reportsAClientThatEndsByItself) {
    const FakeClient& client = connect("relay-then-routes");
    EXPECT_TRUE(controller->reads("status Connected"));
    client.exit(3);
    EXPECT_TRUE(controller->reads("log VPN process exited unexpectedly"));
}

TEST_F(HelperTunnelTest, aStubbornClientIsKilledAfterThreeSecondsAndBeforeFour) {
    const FakeClient& client = connect("stubborn");
    const auto asked = std::chrono::steady_clock::now();
    controller->tell("disconnect");
    EXPECT_TRUE(waitFor([&] { return client.terminations() == 1; }));
    EXPECT_TRUE(waitFor([&] { return client.isGone(); }));
    // The application kills the front after 3 s; the client keeps its full time.
    EXPECT_GE(std::chrono::steady_clock::now() - asked, 3s);
    EXPECT_TRUE(controller->reads("status Disconnected"));
    EXPECT_TRUE(waitFor([&] { return rootWorld::processes().size() == 1; }));
    EXPECT_LE(std::chrono::steady_clock::now() - asked, endsWithin);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(HelperTunnelTest, aDisconnectLeavesTimeToCleanUp) {
    const FakeClient& client = connect("cleans-up", "2700");
    controller->tell("disconnect");
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_TRUE(client.hasCleanedUp());
}

TEST_F(HelperTunnelTest, quittingLeavesTimeToCleanUp) {
    const FakeClient& client = connect("cleans-up", "2700");
    controller->tell("quit");
    EXPECT_EQ(controller->exitStatus(), 0);
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_TRUE(client.hasCleanedUp());
}

TEST_F(HelperTunnelTest, loggingOutLeavesTimeToCleanUp) {
    const FakeClient& client = connect("cleans-up", "2700");
    const pid_t guard = std::stoi(processLine(*client.pid(), "status", "PPid:"));
    // All processes of the session are asked to end, the guard among them. When the application
    // has ended, the user's processes are killed.
    rootWorld::signalProcesses(rootWorld::user, SIGTERM);
    ASSERT_EQ(::kill(guard, SIGTERM), 0);
    EXPECT_EQ(controller->exitStatus(), 0);
    rootWorld::signalProcesses(rootWorld::user, SIGKILL);
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_TRUE(client.hasCleanedUp());
}

TEST_F(HelperTunnelTest, nothingOutlivesAnApplicationThatIsKilled) {
    for (const char* mode : {"relay-then-routes", "stubborn", "family"}) {
        connect(mode);
        controller->kill();
        EXPECT_TRUE(nothingIsLeftInTime()) << mode;
    }
}

TEST_F(HelperTunnelTest, reportsARefusalWithItsReason) {
    install("script");
    fs::remove(clientPath);
    startController();
    controller->tell("connect");
    // The end of the process and its output arrive in any order.
    std::set<std::string> missing{"log Kestrelnet helper: /Library/PrivilegedHelperTools/"
                                  "kestrelnet-client is missing; install the helper again.",
                                  "log VPN process exited unexpectedly", "status Error"};
    while (!missing.empty()) {
        const auto line = controller->readLine();
        ASSERT_TRUE(line) << testing::PrintToString(missing);
        missing.erase(*line);
    }
}

} // namespace
} // namespace kestrelnet
