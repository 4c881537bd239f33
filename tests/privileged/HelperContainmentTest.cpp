// SPDX-License-Identifier: MIT
// Neither the caller's streams nor a stopped front keeps a root process alive.
#include "tests/privileged/HelperContainmentTest.h"
#include "tests/support/HangingFile.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;
using testing::IsEmpty;

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/// Makes standard output and error a full pipe that nobody reads, which stays open.
void blockOutput() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0 || ::fcntl(ends[1], F_SETFL, O_NONBLOCK) != 0) {
        ::_exit(125);
    }
    const std::string bytes(65536, 'x');
    while (::write(ends[1], bytes.data(), bytes.size()) > 0) {
    }
    ::fcntl(ends[1], F_SETFL, 0);
    ::dup2(ends[1], STDOUT_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    // The reader: a process that does nothing until the front is gone.
    if (::fork() == 0) {
        ::close(ends[1]);
        ::close(STDOUT_FILENO);
        ::close(STDERR_FILENO);
        pollfd gone{.fd = ends[0], .events = 0, .revents = 0};
        ::poll(&gone, 1, -1);
        ::_exit(0);
    }
}

TEST_F(HelperContainmentTest, aStoppedFrontKeepsNoRunAlive) {
    startScript(": >/tmp/ready\nexec sleep 600\n", {.hasOwnStarter = true});
    EXPECT_EQ(program->send(SIGSTOP), 0);
    killStarter();
    EXPECT_TRUE(onlyTheFrontIsLeftWithin(10s)) << testing::PrintToString(othersThanTheFront());
    EXPECT_EQ(program->send(SIGKILL), 0);
}

TEST_F(HelperContainmentTest, aRefusalNeverWaitsWithRootsRights) {
    fs::remove(clientPath);
    program = std::make_unique<UserProgram>(helperPath, Options{.prepare = blockOutput});
    EXPECT_TRUE(waitFor([this] {
        return processLine(program->pid(), "status", "Uid:") == "4711\t4711\t4711\t4711";
    }));
    // The front waits for the pipe, as the user's own process.
    EXPECT_TRUE(waitFor([this] { return othersThanTheFront().size() <= 1; }))
        << testing::PrintToString(othersThanTheFront());
    EXPECT_EQ(program->send(SIGKILL), 0);
}

TEST_F(HelperContainmentTest, aRunWhoseOutputNobodyReadsCanBeStopped) {
    startScript(": >/tmp/ready\nexec yes\n", {.prepare = blockOutput});
    const auto start = Clock::now();
    EXPECT_EQ(program->send(SIGTERM), 0);
    // The reader and the front, which still has output for it.
    EXPECT_TRUE(waitFor([this] { return othersThanTheFront().size() <= 1; }))
        << testing::PrintToString(othersThanTheFront());
    EXPECT_LT(Clock::now() - start, 3s);
    EXPECT_EQ(program->send(SIGKILL), 0);
}

TEST_F(HelperContainmentTest, noRootProcessHasAStreamOfTheCallers) {
    std::array<int, 2> stream{};
    ASSERT_EQ(::pipe2(stream.data(), O_CLOEXEC), 0);
    startScript(": >/tmp/ready\nexec sleep 600\n", {.prepare = [&stream] {
                    for (const int number : {0, 1, 2, 5}) {
                        ::dup2(stream[1], number);
                    }
                }});
    const fs::path pipe = fs::read_symlink("/proc/self/fd/" + std::to_string(stream[1]));
    const auto holds = [&pipe](pid_t pid) {
        const fs::directory_iterator links("/proc/" + std::to_string(pid) + "/fd");
        return std::any_of(begin(links), end(links), [&pipe](const auto& link) {
            std::error_code error;
            return fs::read_symlink(link.path(), error) == pipe;
        });
    };
    EXPECT_TRUE(holds(program->pid()));
    auto others = othersThanTheFront();
    EXPECT_EQ(others.size(), 2U);
    std::erase_if(others, [&holds](const auto& process) { return !holds(process.pid); });
    EXPECT_THAT(others, IsEmpty());
    ::close(stream[0]);
    ::close(stream[1]);
}

TEST_F(HelperContainmentTest, aFileOfTheUsersThatHangsHoldsNoRootProcess) {
    const HangingFile file;
    if (!file.isMounted()) {
        GTEST_SKIP() << "this system has no FUSE";
    }
    startScript(": >/tmp/ready\necho first\necho second >&2\nexec sleep 600\n",
                {.prepare =
                     [] {
                         const int stream = ::open(HangingFile::path, O_WRONLY);
                         ::dup2(stream, STDOUT_FILENO);
                         ::dup2(stream, STDERR_FILENO);
                     },
                 .hasOwnStarter = true});
    EXPECT_TRUE(waitFor([] { return fs::exists(HangingFile::isWritten); }));
    EXPECT_EQ(processLine(program->pid(), "status", "Uid:"), "4711\t4711\t4711\t4711");
    // The front cannot even be killed, which the application would try; but the application's end
    // ends the run.
    EXPECT_EQ(program->send(SIGKILL), 0);
    killStarter();
    EXPECT_TRUE(waitFor([this, &file] {
        auto left = othersThanTheFront();
        std::erase_if(left, [&file](const auto& each) { return each.pid == file.server(); });
        return left.empty();
    })) << testing::PrintToString(othersThanTheFront());
    EXPECT_NE(processLine(file.server(), "status", "State:"), "Z (zombie)");
}

TEST_F(HelperContainmentTest, outputThatWasWrittenBeforeTheEndArrives) {
    installClientText("#!/bin/sh\nseq 200000\nseq 3000 >&2\n");
    std::array<int, 2> errors{};
    ASSERT_EQ(::pipe2(errors.data(), O_CLOEXEC), 0);
    program = std::make_unique<UserProgram>(
        helperPath, Options{.prepare = [&errors] { ::dup2(errors[1], STDERR_FILENO); }});
    ::close(errors[1]);
    const std::string said = program->output();
    EXPECT_TRUE(said.ends_with("\n200000\n"));
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 200000);
    std::string errorText;
    std::array<char, 65536> chunk{};
    for (ssize_t size = 0; (size = ::read(errors[0], chunk.data(), chunk.size())) > 0;) {
        errorText.append(chunk.data(), static_cast<std::size_t>(size));
    }
    ::close(errors[0]);
    EXPECT_EQ(std::count(errorText.begin(), errorText.end(), '\n'), 3000);
    EXPECT_EQ(program->waitStatus(), 0);
}

TEST_F(HelperContainmentTest, outputReachesAFileThatIsOpenForAppending) {
    installClientText("#!/bin/sh\necho one\necho two >&2\nseq 5000\n");
    program = std::make_unique<UserProgram>(
        helperPath, Options{.prepare = [] {
            const int file = ::open("/tmp/appended", O_WRONLY | O_CREAT | O_APPEND, 0600);
            ::dup2(file, STDOUT_FILENO);
            ::dup2(file, STDERR_FILENO);
        }});
    EXPECT_EQ(program->waitStatus(), 0);
    const std::string text = readFile("/tmp/appended");
    EXPECT_TRUE(text.starts_with("one\ntwo\n1\n2\n"));
    EXPECT_TRUE(text.ends_with("\n5000\n"));
}

TEST_F(HelperContainmentTest, aClientMayWriteAfterItsReaderHasGone) {
    std::array<int, 2> output{};
    ASSERT_EQ(::pipe2(output.data(), O_CLOEXEC), 0);
    startScript(
        "trap 'echo farewell; echo again; sleep 0.2; echo more; : >/tmp/cleaned; exit 5' TERM\n"
        ": >/tmp/ready\nwhile :; do sleep 0.05; done\n",
        {.prepare = [&output] {
            ::dup2(output[1], STDOUT_FILENO);
            ::close(output[0]);
        }});
    ::close(output[1]);
    ::close(output[0]);
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(5, 0));
    EXPECT_TRUE(fs::remove("/tmp/cleaned"));
}

} // namespace
} // namespace kestrelnet
