// SPDX-License-Identifier: MIT
// The end of a process whose output another process copies from a named pipe.
#include "platform/NamedPipe.h"
#include "platform/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

class NamedPipeTest : public testing::Test {
  protected:
    NamedPipeTest() {
        EXPECT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
        // Both ends, so that bytes stay unread.
        source = ::open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    ~NamedPipeTest() override { ::close(source); }

    TemporaryFolder folder;
    const std::string fifo = folder.file("fifo");
    int source = -1;
};

TEST_F(NamedPipeTest, aNamedPipeTellsWhatIsUnread) {
    const auto pipe = NamedPipe::at(fifo);
    ASSERT_NE(pipe, nullptr);
    EXPECT_EQ(pipe->unread(), 0U);
    ASSERT_EQ(::write(source, "12345", 5), 5);
    EXPECT_EQ(pipe->unread(), 5U);
    // Another pipe of that name is another pipe.
    ASSERT_EQ(::unlink(fifo.c_str()), 0);
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(pipe->unread(), 5U);
    EXPECT_EQ(NamedPipe::at(fifo)->unread(), 0U);
}

TEST_F(NamedPipeTest, onlyANamedPipeIsOne) {
    EXPECT_EQ(NamedPipe::at(folder.file("missing")), nullptr);
    EXPECT_EQ(NamedPipe::at(folder.write("file", "text")), nullptr);
}

TEST_F(NamedPipeTest, aWriterThatWaitsForAReaderGoesOnWaiting) {
    const auto pipe = NamedPipe::at(fifo);
    ::close(source);
    const auto writer = Process::create();
    writer->executablePath = "/bin/sh";
    writer->arguments = {"-c", "touch '" + folder.file("waits") + "'; echo text >'" + fifo + "'"};
    ASSERT_EQ(writer->run(), std::nullopt);
    ASSERT_TRUE(waitFor([&] { return ::access(folder.file("waits").c_str(), F_OK) == 0; }));
    // A look that opened a reading end would let it write and end.
    for (int look = 0; look < 300 && writer->isRunning(); ++look) {
        EXPECT_EQ(pipe->unread(), 0U);
        ::poll(nullptr, 0, 1);
    }
    ASSERT_TRUE(writer->isRunning());
    source = ::open(fifo.c_str(), O_RDONLY | O_CLOEXEC);
    writer->waitUntilExit();
    EXPECT_EQ(writer->terminationStatus(), 0);
}

// Somebody goes on writing to the named pipe.
TEST_F(NamedPipeTest, theEndWaitsOnlyForWhatWasInTheNamedPipeThen) {
    ASSERT_EQ(::write(source, "12345", 5), 5);
    const auto output = std::make_shared<Pipe>();
    // The reader thread may outlive the test.
    const auto received = std::make_shared<std::atomic<std::size_t>>(0);
    output->fileHandleForReading().setReadabilityHandler(
        [received](FileHandle& readable) { *received += readable.availableData().size(); });
    // Only the end reads.
    const auto pause = output->fileHandleForReading().pause();
    const auto relay = Process::create();
    relay->executablePath = "/usr/bin/yes";
    relay->standardOutput = output;
    ASSERT_EQ(relay->run(), std::nullopt);

    const auto process = Process::create();
    process->executablePath = "/bin/true";
    process->relayedOutput = output;
    process->relaySource = NamedPipe::at(fifo);
    ASSERT_EQ(process->run(), std::nullopt);
    process->waitUntilExit();
    EXPECT_GE(*received, 5U);
    EXPECT_LT(*received, 1'000'000U);
    relay->kill(SIGKILL);
    relay->waitUntilExit();
}

} // namespace
} // namespace kestrelnet
