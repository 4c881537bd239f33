// SPDX-License-Identifier: MIT
// Output and ends of processes while there is no memory. This program's own operator new fails on
// demand.
#include "platform/Descriptors.h"
#include "platform/Pipe.h"
#include "platform/Process.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t large = 5000;
/// How many of the next requests for `large` bytes or more fail.
std::atomic<int> failures = 0;

} // namespace

void* operator new(std::size_t size) {
    if (size >= large && failures > 0) {
        --failures;
        throw std::bad_alloc();
    }
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;

class NoMemoryTest : public testing::Test {
  protected:
    NoMemoryTest() {
        const PipeDescriptors ends = closeOnExecPipe();
        handle = FileHandle::create(ends.reading);
        writing_ = ends.writing;
    }
    ~NoMemoryTest() override {
        failures = 0;
        handle->setReadabilityHandler({});
        ::close(writing_);
    }

    void write(const std::string& text) const {
        ASSERT_EQ(::write(writing_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    std::shared_ptr<FileHandle> handle;

  private:
    int writing_ = -1;
};

TEST_F(NoMemoryTest, bytesForWhichThereIsNoMemoryStayInThePipe) {
    const std::string text(large, 'x');
    write(text);
    failures = 1;
    EXPECT_THROW(handle->availableData(), std::bad_alloc);
    EXPECT_EQ(handle->availableData(), text);
}

TEST_F(NoMemoryTest, aHandlerForWhichThereIsNoMemoryIsCalledAgain) {
    const std::string text(large, 'x');
    std::promise<std::string> seen;
    auto result = seen.get_future();
    handle->setReadabilityHandler(
        [&](FileHandle& readable) { seen.set_value(readable.availableData()); });
    failures = 2;
    write(text);
    ASSERT_EQ(result.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(result.get(), text);
    EXPECT_EQ(failures, 0);
}

TEST_F(NoMemoryTest, aRemovedHandlerIsNotCalledAgain) {
    std::promise<void> called;
    std::atomic<int> calls = 0;
    handle->setReadabilityHandler([&](FileHandle& readable) {
        if (++calls == 1) {
            readable.setReadabilityHandler({});
            called.set_value();
        }
        throw std::bad_alloc();
    });
    write("x");
    ASSERT_EQ(called.get_future().wait_for(30s), std::future_status::ready);
    // Returns when no call is under way any more.
    handle->drain();
    EXPECT_EQ(calls, 1);
}

TEST_F(NoMemoryTest, theEndOfAProcessIsReportedAgain) {
    const auto process = Process::create();
    process->executablePath = "/bin/sh";
    process->arguments = {"-c", "exit 3"};
    std::promise<int> reported;
    auto status = reported.get_future();
    auto attempts = std::make_shared<int>(0);
    process->terminationHandler = [&reported, attempts](const std::shared_ptr<Process>& ended) {
        if (++*attempts < 3) {
            throw std::bad_alloc();
        }
        reported.set_value(ended->terminationStatus());
    };
    ASSERT_EQ(process->run(), std::nullopt);
    ASSERT_EQ(status.wait_for(30s), std::future_status::ready);
    EXPECT_EQ(status.get(), 3);
}

} // namespace
} // namespace kestrelnet
