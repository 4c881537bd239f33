// SPDX-License-Identifier: MIT
// Lookups whose host names are resolved on threads of the HTTP library.
#include "tests/platform/URLSessionTest.h"

#include "tests/platform/linux/HangingNames.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/NoThreads.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>

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

;

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
