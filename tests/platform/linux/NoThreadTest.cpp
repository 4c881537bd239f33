// SPDX-License-Identifier: MIT
// What is logged when the system cannot create a thread.
#include "platform/Dispatch.h"
#include "platform/Pipe.h"

#include "tests/support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

/// Asks for a stack that is larger than the address space.
class NoThreadTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::pthread_getattr_default_np(&before_), 0);
        pthread_attr_t impossible;
        ASSERT_EQ(::pthread_attr_init(&impossible), 0);
        ASSERT_EQ(::pthread_attr_setstacksize(&impossible, std::size_t{1} << 60U), 0);
        ASSERT_EQ(::pthread_setattr_default_np(&impossible), 0);
        ::pthread_attr_destroy(&impossible);
    }
    void TearDown() override { EXPECT_EQ(::pthread_setattr_default_np(&before_), 0); }

    LogRecorder recorder;

  private:
    pthread_attr_t before_{};
};

TEST_F(NoThreadTest, aDroppedBackgroundJobIsLogged) {
    bool ran = false;
    dispatch::backgroundQueue()->async([&ran] { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.system: a background job is dropped, because no "
                            "thread can be created: Resource temporarily unavailable"));
}

TEST_F(NoThreadTest, aPipeThatIsNotReadIsLogged) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const auto handle = FileHandle::create(ends[0]);
    handle->setReadabilityHandler([](FileHandle&) {});
    ::close(ends[1]);
    EXPECT_THAT(recorder.messages(),
                ElementsAre("warning kestrelnet.output: the output is not read, because no thread "
                            "can be created: Resource temporarily unavailable"));
}

} // namespace
} // namespace kestrelnet
