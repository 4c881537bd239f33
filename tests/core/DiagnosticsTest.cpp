// SPDX-License-Identifier: MIT
// What the controller logs. The device key must never be in it.
#include "tests/core/TunnelTest.h"
#include "tests/support/LogRecorder.h"

#include <filesystem>

namespace kestrelnet {
namespace {

using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;

class DiagnosticsTest : public TunnelTest {
  protected:
    std::vector<std::string> messages() const { return recorder_.messages(); }

    bool logs(const std::string& message) {
        return time.waitUntil([&] {
            const std::vector<std::string> all = messages();
            return std::find(all.begin(), all.end(), message) != all.end();
        });
    }

    void removeHelper() {
        std::filesystem::remove(paths().helper);
        manager = makeManager();
        manager->apiKey = validKey;
    }

    /// Lets `client` repeat the key in its output: as a line, in each kind of marker line, and in
    /// bytes that are not UTF-8.
    void echoKey(const FakeClient& client) {
        const std::string key = validKey;
        for (const char* line : {"DEVICE_API_KEY=", "Connected to relay ", "error ",
                                 "server: ", "Reconnecting ", "Split-tunnel routes: "}) {
            feed(client, line + key + '\n');
        }
        client.say(key + "\xFF\n");
        EXPECT_TRUE(logs("warning kestrelnet.output: ignored 16 bytes that are not UTF-8 text"));
    }

  private:
    LogRecorder recorder_;
};

TEST_F(DiagnosticsTest, aRunOfTheHelperIsLoggedWithoutTheKey) {
    const FakeClient& client = start();
    echoKey(client);
    client.exit(3);
    ASSERT_TRUE(logs("debug kestrelnet.tunnel: process " + std::to_string(*client.pid()) +
                     " ended with status 3"));
    EXPECT_THAT(messages(), IsSupersetOf({"debug kestrelnet.tunnel: status: Connecting...",
                                          "debug kestrelnet.tunnel: status: Connected",
                                          "debug kestrelnet.tunnel: status: Error"}));
    EXPECT_THAT(messages(), Each(Not(HasSubstr(validKey))));
}

TEST_F(DiagnosticsTest, aRunBehindThePromptIsLoggedWithoutTheKey) {
    removeHelper();
    const FakeClient& reader = installAt(paths().tail, "script");
    const FakeClient& runner = installAt(paths().osascript, "script");
    manager->connect();
    ASSERT_TRUE(time.waitHoldingMain([&] { return runner.isReady(); }));
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    echoKey(reader);
    runner.exit(1);
    ASSERT_TRUE(logs("debug kestrelnet.tunnel: process " + std::to_string(*runner.pid()) +
                     " ended with status 1"));
    EXPECT_THAT(messages(), Contains("debug kestrelnet.tunnel: status: Connected"));
    EXPECT_THAT(messages(), Each(Not(HasSubstr(validKey))));
}

TEST_F(DiagnosticsTest, aFailedStartOfTheHelperIsLoggedWithoutTheKey) {
    std::filesystem::remove(paths().helper);
    manager->connect();
    EXPECT_THAT(messages(), Contains("warning kestrelnet.tunnel: Failed to start helper: No such "
                                     "file or directory"));
    EXPECT_THAT(messages(), Each(Not(HasSubstr(validKey))));
}

TEST_F(DiagnosticsTest, everyFailureOfAPromptLaunchIsLoggedWithoutTheKey) {
    world->platform.paths.temporaryDirectory = world->root.file("missing/");
    removeHelper();
    installAt(paths().osascript, "script");
    manager->connect();
    time.advance(Seconds(1));
    ASSERT_TRUE(
        logs("warning kestrelnet.tunnel: cannot start the reader: No such file or directory"));
    const std::string prefix = "warning kestrelnet.tunnel: cannot ";
    const std::string launcher = temporary("kestrelnet-launcher.sh");
    EXPECT_THAT(messages(),
                IsSupersetOf({prefix + "write " + launcher, prefix + "make executable " + launcher,
                              prefix + "create the FIFO " + temporary("kestrelnet-output.fifo")}));
    EXPECT_THAT(messages(), Each(Not(HasSubstr(validKey))));
}

TEST_F(DiagnosticsTest, aFailedStartOfThePromptIsLoggedWithoutTheKey) {
    removeHelper();
    manager->connect();
    EXPECT_THAT(messages(), Contains("warning kestrelnet.tunnel: Failed to start: No such file or "
                                     "directory"));
    EXPECT_THAT(messages(), Each(Not(HasSubstr(validKey))));
}

TEST_F(DiagnosticsTest, aFailedLookupOfTheExitIPIsLogged) {
    start("routes");
    EXPECT_TRUE(logs("warning kestrelnet.exitip: the lookup failed"));
}

TEST_F(DiagnosticsTest, aConnectThatIsRefusedIsLogged) {
    removeClient();
    manager->connect();
    manager->apiKey = "";
    manager->connect();
    EXPECT_THAT(messages(), IsSupersetOf({"warning kestrelnet.tunnel: the client is not installed",
                                          "warning kestrelnet.tunnel: API key not configured"}));
}

TEST_F(DiagnosticsTest, aClientThatIsKilledIsLogged) {
    const FakeClient& client = start("stubborn");
    manager->disconnect();
    time.advance(Seconds(3.2));
    EXPECT_TRUE(logs("warning kestrelnet.tunnel: the client did not end in time and is killed"));
    EXPECT_TRUE(time.waitUntil([&] { return client.isGone(); }));
}

} // namespace
} // namespace kestrelnet
