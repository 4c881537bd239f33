// SPDX-License-Identifier: MIT
// Tests what a child inherits from its parent.
#include "platform/Process.h"

#include "tests/support/Collector.h"
#include "tests/support/FakeClient.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ChildTest : public testing::Test {
  protected:
    ChildTest() { process->executablePath = client.executable(); }

    void start() {
        ASSERT_FALSE(process->run());
        ASSERT_TRUE(waitFor([this] { return client.isReady(); }));
    }

    FakeClient client{"script"};
    std::shared_ptr<Process> process = Process::create();
};

TEST_F(ChildTest, hasOnlyTheStandardStreams) {
    std::vector<int> inheritable;
    inheritable.reserve(300);
    for (int count = 0; count < 300; ++count) {
        inheritable.push_back(::open("/dev/null", O_RDONLY)); // NOLINT(android-cloexec-open)
    }
    process->standardOutput = std::make_shared<Pipe>();
    process->standardError = std::make_shared<Pipe>();
    const Pipe another;
    start();
    for (const int descriptor : inheritable) {
        ::close(descriptor);
    }
    EXPECT_THAT(client.found("descriptor"), ElementsAre("0", "1", "2"));
}

TEST_F(ChildTest, getsItsPipeEvenIfAStandardStreamWasClosed) {
    const std::array saved{::fcntl(0, F_DUPFD_CLOEXEC, 3), ::fcntl(1, F_DUPFD_CLOEXEC, 3)};
    ::close(0);
    ::close(1);
    process->standardOutput = std::make_shared<Pipe>();
    process->standardError = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    const auto errors = Collector::attachTo(process->standardError->fileHandleForReading());
    const auto error = process->run();
    for (int stream = 0; stream < 2; ++stream) {
        const int copy = saved.at(static_cast<std::size_t>(stream));
        ::dup2(copy, stream);
        ::close(copy);
    }
    ASSERT_FALSE(error);
    client.say("out");
    client.sayOnError("err");
    EXPECT_TRUE(waitFor([&] { return output->text() == "out" && errors->text() == "err"; }));
    EXPECT_THAT(client.found("descriptor"), ElementsAre("1", "2"));
}

TEST_F(ChildTest, hasNoSignalBlockedOrIgnored) {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    std::array<struct sigaction, 2> before{};
    ::sigaction(SIGPIPE, &ignore, &before[0]);
    ::sigaction(SIGHUP, &ignore, &before[1]);
    sigset_t some;
    sigset_t mask;
    sigemptyset(&some);
    for (const int signal : {SIGTERM, SIGCHLD, SIGUSR1}) {
        sigaddset(&some, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &some, &mask);
    start();
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    ::sigaction(SIGPIPE, &before[0], nullptr);
    ::sigaction(SIGHUP, &before[1], nullptr);
    EXPECT_THAT(client.found("blocked-signal"), IsEmpty());
    EXPECT_THAT(client.found("ignored-signal"), IsEmpty());
}

TEST_F(ChildTest, leadsAProcessGroupOfItsOwn) {
    start();
    EXPECT_THAT(client.found("process-group"), ElementsAre(std::to_string(*client.pid())));
    EXPECT_NE(*client.pid(), ::getpgrp());
}

TEST_F(ChildTest, getsItsArgumentsUnchanged) {
    process->arguments = {"-e", "two words", "", "it's \"$HOME\" `x` \\ *\n"};
    start();
    const auto arguments = client.found("argument");
    // They follow the program's name and the three arguments of the script.
    ASSERT_EQ(arguments.size(), 8U);
    EXPECT_EQ(std::vector<std::string>(arguments.begin() + 4, arguments.end()), process->arguments);
}

TEST_F(ChildTest, getsNoArgumentThatWasNotGiven) {
    start();
    EXPECT_EQ(client.found("argument").size(), 4U);
}

TEST_F(ChildTest, inheritsEnvironmentAndWorkingFolder) {
    ::setenv("KESTRELNET_TEST_MARK", "inherited", 1);
    start();
    ::unsetenv("KESTRELNET_TEST_MARK");
    EXPECT_EQ(client.environment("KESTRELNET_TEST_MARK"), "inherited");
    EXPECT_THAT(client.found("working-directory"),
                ElementsAre(std::filesystem::current_path().string()));
}

TEST_F(ChildTest, hasOnlyTheGivenEnvironment) {
    ::setenv("KESTRELNET_TEST_MARK", "inherited", 1);
    process->environment = Environment{{"ONE", "a b=c'\"$HOME"}, {"TWO", ""}};
    start();
    ::unsetenv("KESTRELNET_TEST_MARK");
    EXPECT_EQ(client.environment("ONE"), "a b=c'\"$HOME");
    EXPECT_EQ(client.environment("TWO"), "");
    EXPECT_EQ(client.environment("KESTRELNET_TEST_MARK"), std::nullopt);
}

/// A pipe that is created while no descriptor is available.
std::shared_ptr<Pipe> pipeWithoutDescriptors() {
    const NoDescriptors exhausted;
    return std::make_shared<Pipe>();
}

TEST_F(ChildTest, doesNotStartWithAPipeThatCouldNotBeCreated) {
    process->standardOutput = pipeWithoutDescriptors();
    EXPECT_EQ(process->standardOutput->fileHandleForReading().availableData(), "");
    const auto error = process->run();
    ASSERT_TRUE(error);
    EXPECT_FALSE(error->description.empty());
    EXPECT_FALSE(process->isRunning());
}

TEST_F(ChildTest, doesNotStartWhenItsOutputCannotBeRead) {
    process->standardOutput = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    const NoDescriptors exhausted;
    const auto error = process->run();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, "Too many open files");
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(client.pid(), std::nullopt);
}

} // namespace
} // namespace kestrelnet
