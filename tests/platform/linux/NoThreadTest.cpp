// SPDX-License-Identifier: MIT
// What happens when the system cannot create a thread.
#include "platform/Dispatch.h"
#include "platform/Pipe.h"
#include "platform/Process.h"

#include "tests/support/Collector.h"
#include "tests/support/FakeClient.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/NoThreads.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

constexpr const char* reason = "Resource temporarily unavailable";

TEST(NoThreadTest, aDroppedBackgroundJobIsLogged) {
    const LogRecorder recorder;
    const NoThreads exhausted;
    bool ran = false;
    dispatch::backgroundQueue()->async([&ran] { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.system: a background job is dropped, because no "
                            "thread can be created: Resource temporarily unavailable"));
}

TEST(NoThreadTest, aPreparedJobRuns) {
    std::atomic<bool> ran = false;
    std::unique_ptr<PreparedJob> job;
    ASSERT_FALSE(dispatch::backgroundQueue()->prepare([&ran] { ran = true; }, job));
    const NoThreads exhausted;
    job->start();
    EXPECT_TRUE(waitFor([&] { return ran.load(); }));
}

TEST(NoThreadTest, preparingAJobFailsWithTheReason) {
    const NoThreads exhausted;
    std::unique_ptr<PreparedJob> job;
    const auto error = dispatch::backgroundQueue()->prepare([] {}, job);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, reason);
    EXPECT_EQ(job, nullptr);
}

TEST(NoThreadTest, aPipeThatIsNotReadIsLogged) {
    const LogRecorder recorder;
    const NoThreads exhausted;
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const auto handle = FileHandle::create(ends[0]);
    handle->setReadabilityHandler([](FileHandle&) {});
    ::close(ends[1]);
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.output: the output is not read: Resource "
                            "temporarily unavailable"));
}

TEST(NoThreadTest, aPreparedProcessStartsAndIsRead) {
    const FakeClient client("says-and-exits");
    const auto process = Process::create();
    process->executablePath = client.executable();
    process->standardOutput = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    ASSERT_FALSE(process->prepare());
    const NoThreads exhausted;
    ASSERT_FALSE(process->run());
    EXPECT_TRUE(waitFor([&] { return !process->isRunning() && output->ends() == 1; }));
    EXPECT_EQ(output->text(), "Discovered home server: oslo (198.51.100.9)\n");
}

TEST(NoThreadTest, aProcessThatIsNotPreparedDoesNotStart) {
    const FakeClient client("exits-at-once");
    const auto process = Process::create();
    process->executablePath = client.executable();
    const NoThreads exhausted;
    const auto error = process->run();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, reason);
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->processIdentifier(), 0);
    EXPECT_EQ(client.pid(), std::nullopt);
}

} // namespace
} // namespace kestrelnet
