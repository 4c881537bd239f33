// SPDX-License-Identifier: MIT
// The way of the output through the named pipe of a run, at the end of the run, with the program
// that follows the pipe on Linux.
#include "tests/core/TunnelTest.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;

class PromptRelayTest : public TunnelTest {
  protected:
    PromptRelayTest() {
        manager->helperInstalled = false;
        // Runs the command of the statement at once, without asking for a password.
        writeProgram("usr/bin/osascript", "statement=${2#'do shell script \"'}\n"
                                          "exec sh -c \"${statement%'\" with administrator "
                                          "privileges'}\"\n");
        EXPECT_EQ(::mkfifo(gate_.c_str(), 0600), 0);
        // Open for reading too, so that open() does not wait for the program below.
        gateDescriptor_ = ::open(gate_.c_str(), O_RDWR | O_CLOEXEC);
        EXPECT_GE(gateDescriptor_, 0);
        // Opens the pipe, so that the client starts, but copies nothing before the gate is open.
        writeProgram("usr/bin/tail", "exec 3<\"$2\"\n"
                                     "read -r line <'" +
                                         gate_ +
                                         "'\n"
                                         "'" KESTRELNET_TAIL "' -f \"$2\"\n");
    }
    /// The program that still waits reads the end of the gate.
    ~PromptRelayTest() override { ::close(gateDescriptor_); }

    /// Starts the client behind the prompt and waits for the end of the run.
    const FakeClient& startAndEnd(std::string_view mode) {
        const FakeClient& client = installAt(paths().home + "/.kestrelnet/kestrelnet-client", mode);
        manager->connect();
        const int runner = process()->processIdentifier();
        time.advance(Seconds(1));
        EXPECT_TRUE(time.waitHoldingMain([&] { return !isAlive(runner); }));
        return client;
    }

    void openGate() const { EXPECT_EQ(::write(gateDescriptor_, "\n", 1), 1); }

  private:
    void writeProgram(std::string_view name, const std::string& text) const {
        fs::permissions(world->root.write(name, "#!/bin/sh\n" + text), fs::perms::owner_all);
    }

    const std::string gate_ = world->root.file("gate");
    int gateDescriptor_ = -1;
};

TEST_F(PromptRelayTest, whatIsStillInTheNamedPipeAtTheEndIsHandledBeforeTheEnd) {
    startAndEnd("says-and-exits");
    openGate();
    ASSERT_TRUE(time.waitUntil([this] { return process() == nullptr; }));
    EXPECT_THAT(log(), ElementsAre("Discovered home server: oslo (198.51.100.9)"));
    EXPECT_EQ(snapshot(), (Snapshot{"Error", exitMessage, "none", "oslo"}));
}

TEST_F(PromptRelayTest, aDescendantThatFloodsTheNamedPipeNeitherDelaysTheEndNorFillsTheMemory) {
    const FakeClient& client = startAndEnd("leaves-flood");
    const auto run = process();
    openGate();
    ASSERT_TRUE(time.waitHoldingMain([&] { return !run->isRunning(); }));
    EXPECT_TRUE(isAlive(*client.grandchild()));
    // Both pipes hold 32 pages; a chunk is a page or more.
    EXPECT_LT(time.pendingCount(), 100U);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
}

TEST_F(PromptRelayTest, aReaderThatCopiesNothingDoesNotPreventTheEnd) {
    startAndEnd("says-and-exits");
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_EQ(process(), nullptr);
}

} // namespace
} // namespace kestrelnet
