// SPDX-License-Identifier: MIT
// What the system-level operations log.
#include "tests/support/LogRecorder.h"
#include "tests/system/AdministratorTest.h"

namespace kestrelnet {
namespace {

using testing::Contains;
using testing::IsEmpty;

class SystemDiagnosticsTest : public AdministratorTest {
  protected:
    std::vector<std::string> messages() const { return recorder_.messages(); }

    void installLaunchctl(const std::string& script) const {
        world->root.write("bin/launchctl", "#!/bin/sh\n" + script + '\n');
        EXPECT_TRUE(files::setPermissions(paths().launchctl, 0700));
    }

    /// Runs `operation`, which calls its argument when it is complete, with a prompt that ends with
    /// `status`.
    template <typename Operation>
    void runWithPrompt(int status, Operation operation) {
        const FakeClient& runner = installRunner();
        bool isComplete = false;
        operation([&isComplete] { isComplete = true; });
        ASSERT_TRUE(hasStarted(runner));
        runner.exit(status);
        EXPECT_TRUE(time.waitUntil([&isComplete] { return isComplete; }));
    }

  private:
    LogRecorder recorder_;
};

TEST_F(SystemDiagnosticsTest, aMissingLaunchctlIsLogged) {
    manager->setStartAtLogin(true);
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: cannot start launchctl: No such "
                                     "file or directory"));
}

TEST_F(SystemDiagnosticsTest, aFailureOfLaunchctlIsLogged) {
    installLaunchctl("exit 3");
    manager->setStartAtLogin(true);
    manager->setStartAtLogin(false);
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: launchctl load ended with "
                                     "status 3"));
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: launchctl unload ended with "
                                     "status 3"));
}

TEST_F(SystemDiagnosticsTest, aLoginAgentThatCannotBeWrittenIsLogged) {
    installLaunchctl("exit 0");
    world->root.write("home/Library", "");
    manager->setStartAtLogin(true);
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: cannot write " + paths().home +
                                     "/Library/LaunchAgents/com.kestrelnetvpn.app.plist"));
}

TEST_F(SystemDiagnosticsTest, aLoginAgentThatIsInstalledAndRemovedIsNotLogged) {
    installLaunchctl("exit 0");
    manager->setStartAtLogin(true);
    manager->setStartAtLogin(false);
    manager->setStartAtLogin(false);
    EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(SystemDiagnosticsTest, aHelperThatIsNotRemovedIsLogged) {
    installLaunchctl("exit 0");
    world->root.write("helpers/com.kestrelnetvpn.tunnel", "");
    runWithPrompt(1, [this](const auto& complete) { manager->uninstall(complete); });
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: the command with administrator "
                                     "rights ended with status 1"));
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: the helper was not removed"));
}

TEST_F(SystemDiagnosticsTest, aHelperThatIsNotInstalledIsLogged) {
    runWithPrompt(0, [this](const auto& complete) {
        manager->installHelper([complete](bool) { complete(); });
    });
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: the helper is not installed"));
}

TEST_F(SystemDiagnosticsTest, aMissingPromptIsLogged) {
    bool isComplete = false;
    manager->installHelper([&isComplete](bool) { isComplete = true; });
    EXPECT_TRUE(time.waitUntil([&isComplete] { return isComplete; }));
    EXPECT_THAT(messages(), Contains("warning kestrelnet.system: cannot ask for administrator "
                                     "rights: No such file or directory"));
}

} // namespace
} // namespace kestrelnet
