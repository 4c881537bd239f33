// SPDX-License-Identifier: MIT
// Lookups whose host names are resolved on threads of the HTTP library.
#include "tests/platform/URLSessionTest.h"

#include "tests/platform/linux/HangingNames.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>

#include <pthread.h>
#include <vector>

namespace kestrelnet {
namespace {

using testing::Contains;

class NameResolutionTest : public URLSessionTest {
  protected:
    NameResolutionTest() { hangingNames::hold(); }
    ~NameResolutionTest() override {
        hangingNames::release();
        EXPECT_TRUE(waitFor([] { return hangingNames::hanging() == 0; }));
    }

    std::vector<std::shared_ptr<const Lookup>> startHanging(std::size_t count) {
        std::vector<std::shared_ptr<const Lookup>> lookups;
        for (std::size_t lookup = 0; lookup < count; ++lookup) {
            lookups.push_back(start(server.urlOf("hangs.test")));
        }
        EXPECT_TRUE(waitUntil([count] { return hangingNames::hanging() == count; }));
        return lookups;
    }
};

TEST_F(NameResolutionTest, aNewLookupDoesNotWaitForNamesThatAreNotResolved) {
    const auto hanging = startHanging(10);
    server.enqueue({.body = "203.0.113.7"});
    EXPECT_EQ(get(server.urlOf("service.test")), "203.0.113.7");
    for (const auto& lookup : hanging) {
        EXPECT_EQ(lookup->completions, 0);
    }
}

TEST_F(NameResolutionTest, destroyingTheSessionDoesNotWaitForANameThatIsNotResolved) {
    startHanging(1);
    session.reset();
    EXPECT_EQ(hangingNames::hanging(), 1U);
}

/// While it exists, no thread can be created: its stack would be larger than the address space.
class NoThreads {
  public:
    NoThreads() {
        EXPECT_EQ(::pthread_getattr_default_np(&before_), 0);
        pthread_attr_t impossible;
        EXPECT_EQ(::pthread_attr_init(&impossible), 0);
        EXPECT_EQ(::pthread_attr_setstacksize(&impossible, std::size_t{1} << 60U), 0);
        EXPECT_EQ(::pthread_setattr_default_np(&impossible), 0);
        ::pthread_attr_destroy(&impossible);
    }
    ~NoThreads() { EXPECT_EQ(::pthread_setattr_default_np(&before_), 0); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

  private:
    pthread_attr_t before_{};
};

TEST_F(NameResolutionTest, aLookupFailsWithoutAThreadForItsName) {
    server.enqueue({.body = "first", .held = true});
    const auto first = start(server.url());
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    {
        const NoThreads none;
        EXPECT_EQ(get(server.urlOf("service.test")), std::nullopt);
    }
    server.enqueue({.body = "second"});
    EXPECT_EQ(get(server.urlOf("service.test")), "second");
    server.release(0);
    EXPECT_EQ(finish(first), "first");
}

TEST_F(NameResolutionTest, aLookupFailsWithoutAThreadOfItsOwn) {
    const LogRecorder recorder;
    {
        const NoThreads none;
        const auto first = start(server.url());
        const auto second = start(server.url());
        EXPECT_EQ(finish(first), std::nullopt);
        EXPECT_EQ(finish(second), std::nullopt);
    }
    EXPECT_THAT(
        recorder.messages(),
        Contains(
            "warning kestrelnet.exitip: the request failed: there is no thread or no memory for it")
            .Times(2));
    server.enqueue({.body = "203.0.113.7"});
    EXPECT_EQ(get(server.url()), "203.0.113.7");
}

} // namespace
} // namespace kestrelnet
