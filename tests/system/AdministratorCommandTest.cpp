// SPDX-License-Identifier: MIT
#include "core/AdministratorStatement.h"

#include "tests/system/AdministratorTest.h"

#include <atomic>
#include <filesystem>
#include <optional>
#include <signal.h>
#include <thread>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(AdministratorStatementTest, isOpeningCommandAndClosing) {
    EXPECT_EQ(administratorStatement("rm -f '/a b'"),
              "do shell script \"rm -f '/a b'\" with administrator privileges");
    EXPECT_EQ(administratorStatement("x").size(), 17U + 1U + 31U);
}

TEST(AdministratorStatementTest, anEmptyCommandGivesTwoAdjacentQuotes) {
    EXPECT_EQ(administratorStatement(""), "do shell script \"\" with administrator privileges");
}

TEST(AdministratorStatementTest, neitherQuotesNorBackslashesAreEscaped) {
    EXPECT_EQ(administratorStatement(R"(echo "a" \n \\)"),
              R"(do shell script "echo "a" \n \\" with administrator privileges)");
}

class AdministratorCommandTest : public AdministratorTest {
  protected:
    void run(const std::string& command) {
        TunnelManagerInspector::runWithAdminPrivileges(*manager, command, [this](bool succeeded) {
            result = succeeded;
            thread = std::this_thread::get_id();
            ++calls;
        });
    }
    bool isCalled() {
        return waitFor([this] { return calls > 0; });
    }

    std::atomic<int> calls = 0;
    std::atomic<bool> result = false;
    std::atomic<std::thread::id> thread;
};

TEST_F(AdministratorCommandTest, theRunnerGetsTwoArgumentsAndInheritsTheRest) {
    FakeClient& runner = installRunner();
    run("/bin/bash '/x'");
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_THAT(
        runner.arguments(),
        ElementsAre("-e", "do shell script \"/bin/bash '/x'\" with administrator privileges"));
    EXPECT_EQ(runner.environment("DEVICE_API_KEY"), std::nullopt);
    EXPECT_THAT(runner.found("working-directory"),
                ElementsAre(std::filesystem::current_path().string()));
    runner.exit(0);
    EXPECT_TRUE(isCalled());
}

TEST_F(AdministratorCommandTest, anEmptyCommandIsRun) {
    FakeClient& runner = installRunner();
    run("");
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_THAT(runner.arguments(),
                ElementsAre("-e", "do shell script \"\" with administrator privileges"));
    runner.exit(0);
    EXPECT_TRUE(isCalled());
    EXPECT_TRUE(result);
}

TEST_F(AdministratorCommandTest, aDoubleQuoteIsPassedThrough) {
    FakeClient& runner = installRunner();
    run("echo \"a\"");
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_THAT(runner.arguments(),
                ElementsAre("-e", "do shell script \"echo \"a\"\" with administrator privileges"));
    runner.exit(1);
    EXPECT_TRUE(isCalled());
    EXPECT_FALSE(result);
}

TEST_F(AdministratorCommandTest, status0IsSuccessAndAnyOtherIsNot) {
    for (const int status : {0, 1, 126, 255}) {
        calls = 0;
        FakeClient& runner = installRunner();
        run("x");
        ASSERT_TRUE(hasStarted(runner));
        runner.exit(status);
        ASSERT_TRUE(isCalled());
        EXPECT_EQ(result, status == 0);
    }
}

TEST_F(AdministratorCommandTest, aKilledRunnerIsAFailure) {
    result = true;
    FakeClient& runner = installRunner();
    run("x");
    ASSERT_TRUE(hasStarted(runner));
    ASSERT_EQ(::kill(*runner.pid(), SIGKILL), 0);
    ASSERT_TRUE(isCalled());
    EXPECT_FALSE(result);
}

TEST_F(AdministratorCommandTest, theRunnersStreamsAreTheApplications) {
    FakeClient& runner = installRunner();
    run("x");
    ASSERT_TRUE(hasStarted(runner));
    for (const int stream : {0, 1, 2}) {
        EXPECT_NE(openFile(::getpid(), stream), "");
        EXPECT_EQ(openFile(*runner.pid(), stream), openFile(::getpid(), stream));
    }
    runner.exit(0);
    EXPECT_TRUE(isCalled());
}

TEST_F(AdministratorCommandTest, theCompletionIsCalledOnABackgroundThread) {
    installRunner("exits-at-once");
    run("x");
    ASSERT_TRUE(isCalled());
    EXPECT_NE(thread.load(), std::this_thread::get_id());
}

TEST_F(AdministratorCommandTest, aMissingRunnerMeansFalseBeforeTheReturn) {
    run("x");
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(result);
    EXPECT_EQ(thread.load(), std::this_thread::get_id());
}

TEST_F(AdministratorCommandTest, severalCommandsRunConcurrently) {
    FakeClient& first = installRunner();
    run("first");
    ASSERT_TRUE(hasStarted(first));
    FakeClient& second = installRunner();
    run("second");
    ASSERT_TRUE(hasStarted(second));
    second.exit(0);
    EXPECT_TRUE(waitFor([this] { return calls == 1; }));
    EXPECT_TRUE(first.isAlive());
    first.exit(0);
    EXPECT_TRUE(waitFor([this] { return calls == 2; }));
}

TEST_F(AdministratorCommandTest, statusAndLogStayAndTheRunnerIsNotKept) {
    recordNotices();
    FakeClient& runner = installRunner();
    run("x");
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_EQ(process(), nullptr);
    runner.exit(1);
    EXPECT_TRUE(isCalled());
    time.runPending();
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(AdministratorCommandTest, theCompletionOutlivesTheController) {
    FakeClient& runner = installRunner();
    run("x");
    ASSERT_TRUE(hasStarted(runner));
    manager.reset();
    runner.exit(0);
    EXPECT_TRUE(isCalled());
    EXPECT_TRUE(result);
}

} // namespace
} // namespace kestrelnet
