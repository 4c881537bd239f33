// SPDX-License-Identifier: MIT
#include "platform/Pipe.h"

#include "platform/Descriptors.h"
#include "platform/Process.h"
#include "tests/support/Collector.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

/// A handle on a pipe that the test writes to.
class PipeTest : public testing::Test {
  protected:
    PipeTest() {
        const PipeDescriptors ends = closeOnExecPipe();
        handle = FileHandle::create(ends.reading);
        writing_ = ends.writing;
    }
    ~PipeTest() override { closeWriting(); }

    void write(std::string_view bytes) const {
        ASSERT_EQ(::write(writing_, bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    /// Writes until the pipe is full and returns the number of bytes.
    std::size_t fill() const {
        ::fcntl(writing_, F_SETFL, O_NONBLOCK);
        const std::string piece(4096, 'x');
        std::size_t taken = 0;
        while (taken < most && ::write(writing_, piece.data(), piece.size()) ==
                                   static_cast<ssize_t>(piece.size())) {
            taken += piece.size();
        }
        return taken;
    }
    /// Whether no reading end is left.
    bool isBroken() const {
        pollfd end{.fd = writing_, .events = 0, .revents = 0};
        return ::poll(&end, 1, 0) == 1 && (end.revents & POLLERR) != 0;
    }
    void closeWriting() {
        if (writing_ >= 0) {
            ::close(std::exchange(writing_, -1));
        }
    }

    std::shared_ptr<FileHandle> handle;

  private:
    // Larger than any pipe.
    static constexpr std::size_t most = std::size_t{16} << 20U;
    int writing_ = -1;
};

TEST_F(PipeTest, deliversEachChunkUnchanged) {
    const auto collector = Collector::attachTo(*handle);
    write("one\ntwo\n");
    ASSERT_TRUE(waitFor([&] { return collector->chunks().size() == 1; }));
    write("thr");
    ASSERT_TRUE(waitFor([&] { return collector->chunks().size() == 2; }));
    EXPECT_THAT(collector->chunks(), ElementsAre("one\ntwo\n", "thr"));
}

TEST_F(PipeTest, deliversBytesThatWereWrittenBeforeTheHandlerWasInstalled) {
    write("early");
    closeWriting();
    const auto collector = Collector::attachTo(*handle);
    ASSERT_TRUE(waitFor([&] { return collector->ends() == 1; }));
    EXPECT_EQ(collector->text(), "early");
}

TEST_F(PipeTest, reportsTheEndOnceAndThenReleasesTheHandler) {
    const auto collector = Collector::attachTo(*handle);
    closeWriting();
    // The handler holds the other reference. Once it is destroyed, it cannot be called again.
    ASSERT_TRUE(waitFor([&] { return collector.use_count() == 1; }));
    EXPECT_EQ(collector->ends(), 1U);
}

TEST_F(PipeTest, aHandlerInstalledAfterTheEndIsNotCalledRepeatedly) {
    closeWriting();
    const auto first = Collector::attachTo(*handle);
    ASSERT_TRUE(waitFor([&] { return first->ends() == 1; }));
    const auto second = Collector::attachTo(*handle);
    handle->setReadabilityHandler({});
    ASSERT_TRUE(waitFor([&] { return second.use_count() == 1; }));
    EXPECT_LE(second->ends(), 1U);
}

TEST_F(PipeTest, availableDataReturnsAllBytesUpTo64KiB) {
    const std::size_t written = fill();
    ASSERT_GE(written, 65536U);
    EXPECT_EQ(handle->availableData().size(), 65536U);
}

TEST_F(PipeTest, availableDataIsEmptyAtTheEnd) {
    closeWriting();
    EXPECT_EQ(handle->availableData(), "");
}

TEST_F(PipeTest, aRemovedHandlerIsNotCalledAgainAndItsThreadEnds) {
    const std::size_t threads = runningThreads();
    const auto collector = Collector::attachTo(*handle);
    write("before");
    ASSERT_TRUE(waitFor([&] { return collector->text() == "before"; }));
    handle->setReadabilityHandler({});
    ASSERT_TRUE(waitFor([&] { return collector.use_count() == 1; }));
    EXPECT_TRUE(waitFor([&] { return runningThreads() <= threads; }));
    write("after");
    EXPECT_EQ(handle->availableData(), "after");
    EXPECT_EQ(collector->text(), "before");
}

TEST_F(PipeTest, aHandlerMayRemoveItself) {
    const auto calls = std::make_shared<std::atomic<int>>(0);
    write("more than one byte");
    handle->setReadabilityHandler([calls](FileHandle& readable) {
        ++*calls;
        readable.setReadabilityHandler({});
    });
    ASSERT_TRUE(waitFor([&] { return calls.use_count() == 1; }));
    EXPECT_EQ(*calls, 1);
    EXPECT_EQ(handle->availableData(), "more than one byte");
}

TEST_F(PipeTest, aHandlerInstalledAgainContinuesWithTheWaitingBytes) {
    const auto first = Collector::attachTo(*handle);
    write("one");
    ASSERT_TRUE(waitFor([&] { return first->text() == "one"; }));
    handle->setReadabilityHandler({});
    const auto second = Collector::attachTo(*handle);
    write("two");
    // A call that was running at the removal may have read it.
    ASSERT_TRUE(waitFor([&] { return first->text() + second->text() == "onetwo"; }));
    write("three");
    ASSERT_TRUE(waitFor([&] { return first->text() + second->text() == "onetwothree"; }));
    EXPECT_TRUE(second->text().ends_with("three"));
}

TEST_F(PipeTest, removingDoesNotWaitForARunningCall) {
    std::promise<void> entered;
    std::promise<void> leave;
    const auto calls = std::make_shared<std::atomic<int>>(0);
    write("x");
    handle->setReadabilityHandler([&entered, &leave, calls](FileHandle&) {
        ++*calls;
        entered.set_value();
        leave.get_future().wait();
    });
    entered.get_future().wait();
    handle->setReadabilityHandler({});
    leave.set_value();
    ASSERT_TRUE(waitFor([&] { return calls.use_count() == 1; }));
    EXPECT_EQ(*calls, 1);
}

TEST_F(PipeTest, aHandlerThatDoesNotReturnSlowsTheWriterDown) {
    std::promise<void> leave;
    const std::shared_future<void> mayLeave = leave.get_future().share();
    const auto collector = std::make_shared<Collector>();
    handle->setReadabilityHandler([collector, mayLeave](FileHandle& readable) {
        collector->handler()(readable);
        mayLeave.wait();
    });
    write("first");
    ASSERT_TRUE(waitFor([&] { return collector->text() == "first"; }));
    // Without a reader the pipe fills up and stays full.
    const std::size_t taken = fill();
    EXPECT_EQ(fill(), 0U);
    EXPECT_EQ(collector->text(), "first");
    leave.set_value();
    EXPECT_TRUE(waitFor([&] { return collector->text().size() == taken + 5; }));
}

TEST_F(PipeTest, aReaderThreadEndsWithItsPipe) {
    const std::size_t threads = runningThreads();
    const auto collector = Collector::attachTo(*handle);
    handle.reset();
    write("still read");
    ASSERT_TRUE(waitFor([&] { return collector->text() == "still read"; }));
    closeWriting();
    ASSERT_TRUE(waitFor([&] { return collector.use_count() == 1; }));
    EXPECT_EQ(collector->ends(), 1U);
    EXPECT_TRUE(waitFor([&] { return runningThreads() <= threads; }));
}

TEST_F(PipeTest, aFailedReadIsTheEndAndLogged) {
    const LogRecorder recorder;
    const auto folder = FileHandle::create(::open("/", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(folder->availableData(), "");
    EXPECT_THAT(
        recorder.messages(),
        ElementsAre("warning kestrelnet.output: the output cannot be read: Is a directory"));
}

TEST_F(PipeTest, withoutADescriptorForTheWakeUpNoThreadStartsAndThatIsLogged) {
    const LogRecorder recorder;
    const std::size_t threads = runningThreads();
    const auto collector = std::make_shared<Collector>();
    {
        const NoDescriptors exhausted;
        handle->setReadabilityHandler(collector->handler());
    }
    EXPECT_EQ(collector.use_count(), 1);
    EXPECT_EQ(runningThreads(), threads);
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.output: the output is not read: Too many open "
                            "files"));
    // Nothing else keeps the reading end open: a writer notices that nobody reads.
    handle.reset();
    EXPECT_TRUE(isBroken());
}

/// Uses the handle when it is destroyed.
class HandlerOwner {
  public:
    explicit HandlerOwner(FileHandle& handle) : handle_(&handle) {}
    ~HandlerOwner() { handle_->setReadabilityHandler({}); }
    HandlerOwner(const HandlerOwner&) = delete;
    HandlerOwner& operator=(const HandlerOwner&) = delete;

  private:
    FileHandle* handle_;
};

TEST_F(PipeTest, aHandlerMayUseTheHandleWhenItIsDestroyed) {
    const auto handler = [this] {
        return [owner = std::make_shared<HandlerOwner>(*handle)](FileHandle& readable) {
            readable.availableData();
        };
    };
    // On a thread that the test does not wait for, because an error is a deadlock.
    const auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread([handle = handle, handler, done] {
        handle->setReadabilityHandler(handler());
        handle->setReadabilityHandler({});
        handle->setReadabilityHandler(handler());
        handle->setReadabilityHandler([](FileHandle&) {});
        *done = true;
    }).detach();
    ASSERT_TRUE(waitFor([&] { return done->load(); }));
    handle->setReadabilityHandler({});
}

TEST_F(PipeTest, duringAPauseTheHandlerIsNotCalled) {
    const auto collector = std::make_shared<Collector>();
    std::promise<std::shared_ptr<FileHandle::Pause>> promised;
    handle->setReadabilityHandler([&promised, collector, calls = 0](FileHandle& readable) mutable {
        collector->handler()(readable);
        if (++calls == 1) {
            promised.set_value(readable.pause());
        }
    });
    write("one");
    auto pause = promised.get_future().get();
    // Without a reader the pipe fills up and stays full.
    fill();
    EXPECT_EQ(fill(), 0U);
    EXPECT_EQ(collector->text(), "one");
    pause.reset();
    EXPECT_TRUE(waitFor([&] { return collector->text().size() > 3; }));
}

TEST_F(PipeTest, aHandlerThatIsRemovedDuringAPauseIsReleased) {
    const auto collector = Collector::attachTo(*handle);
    const auto pause = handle->pause();
    handle->setReadabilityHandler({});
    EXPECT_TRUE(waitFor([&] { return collector.use_count() == 1; }));
}

TEST_F(PipeTest, drainReadsDuringAPauseWhatIsInThePipe) {
    const auto collector = std::make_shared<Collector>();
    const auto pause = handle->pause();
    handle->setReadabilityHandler(collector->handler());
    write("first");
    const std::size_t taken = fill();
    handle->drain();
    EXPECT_EQ(collector->text().size(), taken + 5);
    // Returns although a writing end is still open.
    handle->drain();
    EXPECT_EQ(collector->ends(), 0U);
}

TEST_F(PipeTest, drainReadsNoMoreThanWasInThePipe) {
    const auto pause = handle->pause();
    int calls = 0;
    handle->setReadabilityHandler([this, &calls](FileHandle& readable) {
        readable.availableData();
        ++calls;
        // Like a writer that is faster than its reader.
        write("more");
    });
    write("first");
    handle->drain();
    EXPECT_EQ(calls, 1);
    handle->setReadabilityHandler({});
}

TEST_F(PipeTest, drainWithoutAHandlerReadsNothing) {
    write("kept");
    handle->drain();
    EXPECT_EQ(handle->availableData(), "kept");
}

TEST(PipeLifeTest, aPipeThatCannotBeCreatedIsLogged) {
    const LogRecorder recorder;
    {
        const NoDescriptors exhausted;
        const Pipe pipe;
    }
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.output: no pipe can be created for the output: Too "
                            "many open files"));
}

TEST(PipeLifeTest, noThreadAndNoDescriptorIsLeft) {
    const std::size_t threads = runningThreads();
    const std::size_t descriptors = openDescriptors();
    for (int round = 0; round < 100; ++round) {
        Pipe pipe;
        EXPECT_LE(runningThreads(), threads);
        pipe.fileHandleForReading().setReadabilityHandler([](FileHandle&) {});
        pipe.fileHandleForReading().setReadabilityHandler({});
        ASSERT_TRUE(waitFor([&] { return runningThreads() <= threads; }));
    }
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= descriptors; }));
}

TEST(PipeLifeTest, aDestroyedPipeReportsTheEndToItsReader) {
    auto pipe = std::make_unique<Pipe>();
    const auto collector = Collector::attachTo(pipe->fileHandleForReading());
    pipe.reset();
    EXPECT_TRUE(waitFor([&] { return collector->ends() == 1; }));
}

TEST(GivenUpPipeTest, isAtItsEndAndHasNoReaderFromTheChildsStart) {
    const LogRecorder recorder;
    const auto pipe = std::make_shared<Pipe>();
    const auto collector = Collector::attachTo(pipe->fileHandleForReading());
    pipe->closeReading();
    EXPECT_EQ(pipe->fileHandleForReading().availableData(), "");
    const auto child = Process::create();
    child->executablePath = "/bin/sh";
    // SIGPIPE ended it at its first output.
    child->arguments = {"-c", "echo word; exit 0"};
    child->standardOutput = pipe;
    ASSERT_FALSE(child->run());
    child->waitUntilExit();
    EXPECT_EQ(child->terminationStatus(), SIGPIPE);
    EXPECT_THAT(collector->chunks(), testing::IsEmpty());
    EXPECT_THAT(recorder.messages(), testing::IsEmpty());
}

} // namespace
} // namespace kestrelnet
