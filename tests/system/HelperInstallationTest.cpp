// SPDX-License-Identifier: MIT
#include "system/HelperInstallation.h"

#include "tests/system/AdministratorTest.h"

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string helperPath = Paths().helper;

// -- The texts ---------------------------------------------------------------------------------

TEST(HelperInstallationTextsTest, theScriptIsBetweenSingleQuotes) {
    EXPECT_EQ(scriptInstallCommand("/opt/k/Contents/Resources/install-helper.sh"),
              "/bin/bash '/opt/k/Contents/Resources/install-helper.sh'");
}

TEST(HelperInstallationTextsTest, aSingleQuoteInTheScriptsPathIsNotEscaped) {
    EXPECT_EQ(scriptInstallCommand("/opt/it's/install-helper.sh"),
              "/bin/bash '/opt/it's/install-helper.sh'");
}

TEST(HelperInstallationTextsTest, theInlineCommandIsExact) {
    EXPECT_EQ(
        inlineInstallCommand("/opt/k/bin/kestrelnet-client", helperPath),
        R"(mkdir -p /Library/PrivilegedHelperTools && printf '#!/bin/bash\nexec "/opt/k/bin/kestrelnet-client" "$@"\n' > /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel && chown root:wheel /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel && chmod 4755 /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel)");
    const std::string command = inlineInstallCommand("", helperPath);
    EXPECT_EQ(command.substr(0, 70),
              R"(mkdir -p /Library/PrivilegedHelperTools && printf '#!/bin/bash\nexec ")");
    EXPECT_EQ(command.substr(70, 12), R"(" "$@"\n' > )");
}

TEST(HelperInstallationTextsTest, aSingleQuoteInTheClientsPathIsEscaped) {
    const std::string command = inlineInstallCommand("/opt/it's/kestrelnet-client", helperPath);
    EXPECT_NE(command.find(R"(exec "/opt/it'\''s/kestrelnet-client" )"), std::string::npos)
        << command;
}

TEST(HelperInstallationTextsTest, nothingElseInTheClientsPathIsEscaped) {
    const std::string command = inlineInstallCommand(R"(/a "b" $c \d %e)", helperPath);
    EXPECT_NE(command.find(R"(exec "/a "b" $c \d %e" )"), std::string::npos) << command;
}

TEST(HelperInstallationTextsTest, theInlineCommandWritesALauncherOfTwoLines) {
    const TemporaryFolder folder;
    // Without changing the owner, which requires root.
    std::string command =
        inlineInstallCommand("/opt/it's/kestrelnet-client", folder.file("new/helper"));
    command.erase(command.find(" && chown"));
    const auto shell = Process::create();
    shell->executablePath = "/bin/sh";
    shell->arguments = {"-c", command};
    ASSERT_FALSE(shell->run());
    shell->waitUntilExit();
    EXPECT_EQ(shell->terminationStatus(), 0);
    EXPECT_EQ(readFile(folder.file("new/helper")),
              "#!/bin/bash\nexec \"/opt/it's/kestrelnet-client\" \"$@\"\n");
}

// -- Installing ----------------------------------------------------------------------------------

class HelperInstallationTest : public AdministratorTest {
  protected:
    std::string bundledScript() const {
        return paths().bundle + "/Contents/Resources/install-helper.sh";
    }
    std::string scriptBesideTheBundle() const {
        return world->root.file("scripts/install-helper.sh");
    }
    static void write(const std::string& path) {
        fs::create_directories(fs::path(path).parent_path());
        std::fclose(std::fopen(path.c_str(), "we"));
    }

    void installHelper() {
        manager->installHelper([this](bool isInstalled) { results.push_back(isInstalled); });
    }
    bool isAnswered(std::size_t count = 1) {
        return time.waitUntil([&] { return results.size() >= count; });
    }
    /// Installs with a runner that runs `meanwhile` and ends with `status`.
    void installHelper(
        int status, const std::function<void()>& meanwhile = [] {}) {
        FakeClient& runner = installRunner();
        installHelper();
        ASSERT_TRUE(hasStarted(runner));
        meanwhile();
        runner.exit(status);
        ASSERT_TRUE(isAnswered());
        time.advance(Seconds(10));
    }
    std::string commandOf(const FakeClient& runner) const {
        const std::vector<std::string> all = runner.arguments();
        return all.size() == 2 ? all[1] : "";
    }

    std::vector<bool> results;
};

TEST_F(HelperInstallationTest, theScriptInTheBundleIsPreferred) {
    write(bundledScript());
    write(scriptBesideTheBundle());
    FakeClient& runner = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_EQ(commandOf(runner), "do shell script \"/bin/bash '" + bundledScript() +
                                     "'\" with administrator privileges");
    runner.exit(0);
    EXPECT_TRUE(isAnswered());
}

TEST_F(HelperInstallationTest, thePathOfTheScriptBesideTheBundleContainsNoDots) {
    fs::create_directories(paths().bundle);
    write(scriptBesideTheBundle());
    FakeClient& runner = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_EQ(commandOf(runner), "do shell script \"/bin/bash '" + scriptBesideTheBundle() +
                                     "'\" with administrator privileges");
    runner.exit(0);
    EXPECT_TRUE(isAnswered());
}

TEST_F(HelperInstallationTest, withoutAScriptTheClientIsInstalledInline) {
    FakeClient& runner = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_EQ(commandOf(runner), "do shell script \"" +
                                     inlineInstallCommand(*manager->binaryPath(), paths().helper) +
                                     "\" with administrator privileges");
    runner.exit(1);
    EXPECT_TRUE(isAnswered());
    EXPECT_THAT(results, ElementsAre(false));
}

TEST_F(HelperInstallationTest, withoutScriptAndClientTheResultIsFalseImmediately) {
    removeClient();
    FakeClient& runner = installRunner();
    write(paths().helper);
    recordNotices();
    installHelper();
    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_THAT(notices, IsEmpty());
    EXPECT_FALSE(manager->helperInstalled);
    EXPECT_FALSE(runner.pid());
}

TEST_F(HelperInstallationTest, theResultIsWhetherTheHelperExistsAfterwards) {
    write(bundledScript());
    installHelper(0, [this] { write(paths().helper); });
    EXPECT_THAT(results, ElementsAre(true));
    EXPECT_TRUE(manager->helperInstalled);
}

TEST_F(HelperInstallationTest, anEarlierHelperCountsForAnyExitStatus) {
    write(bundledScript());
    write(paths().helper);
    installHelper(1);
    EXPECT_THAT(results, ElementsAre(true));
    EXPECT_TRUE(manager->helperInstalled);
}

TEST_F(HelperInstallationTest, status0WithoutAHelperIsAFailure) {
    write(bundledScript());
    installHelper(0);
    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_FALSE(manager->helperInstalled);
}

TEST_F(HelperInstallationTest, aRemovedHelperIsNoticed) {
    write(bundledScript());
    write(paths().helper);
    manager = makeManager();
    ASSERT_TRUE(manager->helperInstalled);
    installHelper(0, [this] { fs::remove(paths().helper); });
    EXPECT_THAT(results, ElementsAre(false));
    EXPECT_FALSE(manager->helperInstalled);
}

TEST_F(HelperInstallationTest, theResultIsDeliveredByAMainJobEvenWhenTheRunnerIsMissing) {
    write(bundledScript());
    write(paths().helper);
    installHelper();
    EXPECT_THAT(results, IsEmpty());
    EXPECT_FALSE(manager->helperInstalled);
    time.runPending();
    EXPECT_THAT(results, ElementsAre(true));
    EXPECT_TRUE(manager->helperInstalled);
}

TEST_F(HelperInstallationTest, theEndOfTheRunnerChangesNothingBeforeTheMainJob) {
    write(bundledScript());
    FakeClient& runner = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(runner));
    write(paths().helper);
    recordNotices();
    runner.exit(0);
    EXPECT_TRUE(time.waitHoldingMain([this] { return time.pendingCount() > 0; }));
    EXPECT_THAT(results, IsEmpty());
    EXPECT_THAT(notices, IsEmpty());
    time.runPending();
    EXPECT_THAT(results, ElementsAre(true));
}

TEST_F(HelperInstallationTest, theResultIsFalseWhenTheControllerWasDestroyed) {
    write(bundledScript());
    write(paths().helper);
    FakeClient& runner = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(runner));
    const std::weak_ptr<TunnelManager> gone = manager;
    manager.reset();
    EXPECT_TRUE(gone.expired());
    runner.exit(0);
    ASSERT_TRUE(isAnswered());
    EXPECT_THAT(results, ElementsAre(false));
}

TEST_F(HelperInstallationTest, aSecondRequestShowsAnotherPrompt) {
    write(bundledScript());
    FakeClient& first = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(first));
    FakeClient& second = installRunner();
    installHelper();
    ASSERT_TRUE(hasStarted(second));
    first.exit(1);
    second.exit(1);
    EXPECT_TRUE(isAnswered(2));
    time.runPending();
    EXPECT_THAT(results, ElementsAre(false, false));
}

TEST_F(HelperInstallationTest, statusAndLogDoNotChange) {
    write(bundledScript());
    const Snapshot before = snapshot();
    installHelper(1);
    EXPECT_EQ(snapshot(), before);
}

} // namespace
} // namespace kestrelnet
