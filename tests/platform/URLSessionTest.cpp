// SPDX-License-Identifier: MIT
#include "tests/platform/URLSessionTest.h"

#include "tests/support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace kestrelnet {
namespace {

constexpr std::size_t largestBody = 1024UL * 1024;

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;
using Ending = TlsAnswer::Ending;

/// A loopback port that refuses connections and that no other program can use.
class RefusingPort {
  public:
    RefusingPort() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        socklen_t size = sizeof address;
        EXPECT_EQ(::bind(descriptor_, generic, size), 0);
        EXPECT_EQ(::getsockname(descriptor_, generic, &size), 0);
        number_ = ntohs(address.sin_port);
    }
    ~RefusingPort() { ::close(descriptor_); }
    RefusingPort(const RefusingPort&) = delete;
    RefusingPort& operator=(const RefusingPort&) = delete;

    int number() const { return number_; }

  private:
    int descriptor_ = ::socket(AF_INET, SOCK_STREAM, 0);
    int number_ = 0;
};

TEST_F(URLSessionTest, goodAnswerGivesItsBody) {
    EXPECT_EQ(getAnswer({.body = "203.0.113.7\n"}), "203.0.113.7\n");
    EXPECT_EQ(server.requests(), std::vector<std::string>{"/"});
}

TEST_F(URLSessionTest, emptyBodyIsABody) {
    EXPECT_EQ(getAnswer({.body = ""}), "");
}

class HTTPStatusTest : public URLSessionTest, public testing::WithParamInterface<int> {};

TEST_P(HTTPStatusTest, givesTheBodyForEveryStatus) {
    EXPECT_EQ(getAnswer({.status = GetParam(), .body = "Try again later."}), "Try again later.");
}

TEST_P(HTTPStatusTest, failsWhenTheBodyBreaksOff) {
    EXPECT_EQ(
        getAnswer({.status = GetParam(), .body = "Try again later.", .ending = Ending::drops}),
        std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(URLSession, HTTPStatusTest,
                         testing::Values(200, 201, 203, 299, 300, 301, 302, 303, 305, 306, 307, 308,
                                         400, 401, 403, 404, 405, 407, 408, 409, 410, 418, 429, 451,
                                         500, 501, 502, 503, 504, 599));

/// A status, whether the body is chunked, and how the answer breaks off.
using BrokenAnswer = std::tuple<int, bool, Ending>;

class BrokenAnswerTest : public URLSessionTest, public testing::WithParamInterface<BrokenAnswer> {
  protected:
    static constexpr std::size_t attempts = 25;
};

TEST_P(BrokenAnswerTest, failsEachTimeAfterOneRequest) {
    const auto& [status, chunked, ending] = GetParam();
    server.serve("/", {.status = status,
                       .body = "203.0.113.7\n203.0.113.8",
                       .ending = ending,
                       .chunked = chunked});
    for (std::size_t attempt = 1; attempt <= attempts; ++attempt) {
        ASSERT_EQ(get(server.url()), std::nullopt);
        ASSERT_EQ(server.requestCount(), attempt);
    }
    EXPECT_EQ(server.connectionCount(), attempts);
}

INSTANTIATE_TEST_SUITE_P(InMidBody, BrokenAnswerTest,
                         testing::Combine(testing::Values(200, 301, 404, 500), testing::Bool(),
                                          testing::Values(Ending::drops, Ending::resets)));
INSTANTIATE_TEST_SUITE_P(BeforeTheAnswer, BrokenAnswerTest,
                         testing::Combine(testing::Values(200), testing::Values(false),
                                          testing::Values(Ending::closesUnanswered,
                                                          Ending::resetsUnanswered)));

TEST_F(URLSessionTest, chunkedBodyIsGiven) {
    EXPECT_EQ(getAnswer({.body = "203.0.113.7\n", .chunked = true}), "203.0.113.7\n");
}

TEST_F(URLSessionTest, givesABodyThatIsNotUtf8Unchanged) {
    const std::string bytes("\xff\x00\xc3(\r\n\xfe", 7);
    EXPECT_EQ(getAnswer({.body = bytes}), bytes);
}

TEST_F(URLSessionTest, redirectIsFollowed) {
    server.serve("/here", {.status = 302, .body = "Moved.", .location = server.url("/there")});
    server.serve("/there", {.body = "203.0.113.7"});
    EXPECT_EQ(get(server.url("/here")), "203.0.113.7");
}

TEST_F(URLSessionTest, redirectWithARelativeAddressIsFollowed) {
    server.serve("/here", {.status = 307, .body = "Moved.", .location = "/there"});
    server.serve("/there", {.body = "203.0.113.7"});
    EXPECT_EQ(get(server.url("/here")), "203.0.113.7");
    EXPECT_EQ(server.requests(), (std::vector<std::string>{"/here", "/there"}));
}

TEST_F(URLSessionTest, redirectToALessSafeSchemeFails) {
    std::string unsafe = server.url("/there");
    unsafe.erase(unsafe.find('s'), 1);
    EXPECT_EQ(getAnswer({.status = 302, .location = unsafe}), std::nullopt);
    EXPECT_EQ(server.connectionCount(), 1U);
}

TEST_F(URLSessionTest, redirectLoopFails) {
    server.serve("/circle", {.status = 302, .location = server.url("/circle")});
    EXPECT_EQ(get(server.url("/circle")), std::nullopt);
    EXPECT_GT(server.requestCount(), 1U);
}

TEST_F(URLSessionTest, refusedConnectionFails) {
    const RefusingPort port;
    EXPECT_EQ(get("https://127.0.0.1:" + std::to_string(port.number())), std::nullopt);
}

TEST_F(URLSessionTest, theReasonOfAFailureIsLogged) {
    const LogRecorder recorder;
    const RefusingPort port;
    get("https://127.0.0.1:" + std::to_string(port.number()));
    getAnswer({.body = std::string(largestBody + 1, 'x')});
    EXPECT_THAT(recorder.messages(),
                IsSupersetOf({MatchesRegex("warning kestrelnet\\.exitip: the request failed: "
                                           "Could(n't| not) connect to server"),
                              MatchesRegex("warning kestrelnet\\.exitip: the request failed: "
                                           "the response is too large")}));
}

TEST_F(URLSessionTest, aSuccessLogsNothing) {
    const LogRecorder recorder;
    EXPECT_EQ(getAnswer({.status = 404, .body = "203.0.113.7"}), "203.0.113.7");
    EXPECT_THAT(recorder.messages(), Not(Contains(HasSubstr("kestrelnet."))));
}

TEST_F(URLSessionTest, untrustedCertificateFails) {
    server.enqueue({.body = "203.0.113.7"});
    session = std::make_unique<URLSession>();
    EXPECT_EQ(get(server.url()), std::nullopt);
    EXPECT_EQ(server.requestCount(), 0U);
}

TEST_F(URLSessionTest, unusableAddressFails) {
    for (const std::string_view url :
         {"", "no address", "https://", "unknown:something", "file:///etc/hostname"}) {
        EXPECT_EQ(get(std::string(url)), std::nullopt) << url;
    }
}

TEST_F(URLSessionTest, twoLookupsMayFinishInReverseOrder) {
    server.enqueue({.body = "first", .held = true});
    server.enqueue({.body = "second"});
    const auto first = start(server.url());
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    EXPECT_EQ(get(server.url()), "second");
    EXPECT_EQ(first->completions, 0);
    server.release(0);
    EXPECT_EQ(finish(first), "first");
}

TEST_F(URLSessionTest, eachLookupMakesItsOwnConnectionAndClosesIt) {
    EXPECT_EQ(getAnswer({.body = "first"}), "first");
    EXPECT_EQ(getAnswer({.body = "second"}), "second");
    EXPECT_EQ(server.connectionCount(), 2U);
    EXPECT_TRUE(waitUntil([&] { return server.openConnectionCount() == 0; }));
}

TEST_F(URLSessionTest, aNewLookupDoesNotWaitForManyThatHang) {
    constexpr std::size_t hanging = 40;
    server.serve("/hangs", {.held = true});
    std::vector<std::shared_ptr<const Lookup>> lookups;
    for (std::size_t lookup = 0; lookup < hanging; ++lookup) {
        lookups.push_back(start(server.url("/hangs")));
    }
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == hanging; }));
    server.serve("/answers", {.body = "203.0.113.7"});
    EXPECT_EQ(get(server.url("/answers")), "203.0.113.7");
    for (const auto& lookup : lookups) {
        EXPECT_EQ(lookup->completions, 0);
    }
}

/// While it exists, this process may have this many open descriptors.
class DescriptorLimit {
  public:
    explicit DescriptorLimit(rlim_t limit) {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
        const rlimit lower{.rlim_cur = limit, .rlim_max = before_.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &lower), 0);
    }
    ~DescriptorLimit() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before_), 0); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

  private:
    rlimit before_{};
};

/// With a limit of descriptors that lets this many lookups be under way.
class ManyLookupsTest : public URLSessionTest {
  protected:
    static constexpr std::size_t mostUnderWay = 50;

    std::vector<std::shared_ptr<const Lookup>> startMany(std::size_t count,
                                                         const std::string& url) {
        std::vector<std::shared_ptr<const Lookup>> lookups;
        for (std::size_t lookup = 0; lookup < count; ++lookup) {
            lookups.push_back(start(url));
        }
        return lookups;
    }

    const DescriptorLimit limit{4 * mostUnderWay};
};

TEST_F(ManyLookupsTest, allThatStartTogetherAreAnswered) {
    server.serve("/", {.body = "203.0.113.7"});
    const auto lookups = startMany(3 * mostUnderWay, server.url());
    for (const auto& lookup : lookups) {
        EXPECT_EQ(finish(lookup), "203.0.113.7");
    }
    EXPECT_EQ(server.requestCount(), lookups.size());
}

TEST_F(ManyLookupsTest, theOldestThatHangIsDroppedForANewOne) {
    const LogRecorder recorder;
    server.serve("/hangs", {.held = true});
    const auto oldest = start(server.url("/hangs"));
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    const auto others = startMany(mostUnderWay - 1, server.url("/hangs"));
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == mostUnderWay; }));
    server.serve("/answers", {.body = "203.0.113.7"});
    EXPECT_EQ(get(server.url("/answers")), "203.0.113.7");
    EXPECT_EQ(finish(oldest), std::nullopt);
    for (const auto& other : others) {
        EXPECT_EQ(other->completions, 0);
    }
    EXPECT_THAT(recorder.messages(),
                Contains("warning kestrelnet.exitip: the request failed: too many requests are "
                         "under way")
                    .Times(1));
}

TEST_F(ManyLookupsTest, theOldestOfTooManyThatWaitAreDropped) {
    constexpr std::size_t waiting = 1000;
    constexpr std::size_t tooMany = 3;
    server.serve("/", {.held = true});
    const auto lookups = startMany(waiting + tooMany, server.url());
    for (std::size_t lookup = 0; lookup < tooMany; ++lookup) {
        EXPECT_EQ(finish(lookups[lookup]), std::nullopt);
    }
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == mostUnderWay; }));
    for (std::size_t lookup = tooMany; lookup < lookups.size(); ++lookup) {
        EXPECT_EQ(lookups[lookup]->completions, 0);
    }
}

TEST_F(URLSessionTest, truncatedBodyFails) {
    EXPECT_EQ(getAnswer({.body = "203.0.113.7", .ending = Ending::drops}), std::nullopt);
}

TEST_F(URLSessionTest, bodyOfTheLargestSizeIsGiven) {
    const std::string body(largestBody, 'x');
    EXPECT_EQ(getAnswer({.body = body}), body);
}

TEST_F(URLSessionTest, oversizedBodyFails) {
    EXPECT_EQ(getAnswer({.body = std::string(largestBody + 1, 'x')}), std::nullopt);
    EXPECT_EQ(getAnswer({.status = 500, .body = std::string(largestBody + 1, 'x')}), std::nullopt);
}

TEST_F(URLSessionTest, acceptsAServerThatCanCompress) {
    EXPECT_EQ(getAnswer({.body = "203.0.113.7", .compresses = true}), "203.0.113.7");
    EXPECT_EQ(getAnswer({.body = std::string(20 * largestBody, 'x'), .compresses = true}),
              std::nullopt);
}

TEST_F(URLSessionTest, truncatedBodyOfAServerThatCanCompressFails) {
    EXPECT_EQ(getAnswer({.body = "203.0.113.7", .ending = Ending::drops, .compresses = true}),
              std::nullopt);
}

TEST_F(URLSessionTest, oversizedBodyFailsBeforeItsEnd) {
    EXPECT_EQ(getAnswer({.body = std::string(4 * largestBody, 'x'), .ending = Ending::stalls}),
              std::nullopt);
}

TEST_F(URLSessionTest, destroyingTheSessionDropsTheCompletion) {
    server.enqueue({.body = "203.0.113.7", .held = true});
    const auto lookup = start(server.url());
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    session.reset();
    EXPECT_EQ(lookup.use_count(), 1) << "the completion is still there";
    server.release(0);
    EXPECT_TRUE(waitUntil([&] { return server.openConnectionCount() == 0; }));
    runPostedEvents();
    EXPECT_EQ(lookup->completions, 0);
}

TEST_F(URLSessionTest, destroyingTheSessionDropsTheCompletionInMidBody) {
    server.enqueue({.body = std::string(largestBody, 'x'), .ending = Ending::stalls});
    const auto lookup = start(server.url());
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    session.reset();
    EXPECT_TRUE(waitUntil([&] { return server.openConnectionCount() == 0; }));
    runPostedEvents();
    EXPECT_EQ(lookup->completions, 0);
}

TEST_F(URLSessionTest, completionMayDestroyTheSession) {
    server.enqueue({.body = "first", .held = true});
    server.enqueue({.body = "second", .held = true});
    Body body;
    session->data(server.url(), [&](const Body& given) {
        session.reset();
        body = given;
    });
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 1; }));
    const auto other = start(server.url());
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == 2; }));
    server.release(0);
    EXPECT_TRUE(waitUntil([&] { return body.has_value(); }));
    EXPECT_EQ(body, "first");
    EXPECT_TRUE(waitUntil([&] { return server.openConnectionCount() == 0; }));
    runPostedEvents();
    EXPECT_EQ(other->completions, 0);
}

TEST_F(URLSessionTest, completionMayStartTheNextLookup) {
    server.enqueue({.body = "first"});
    server.enqueue({.body = "second"});
    std::shared_ptr<const Lookup> next;
    session->data(server.url(), [&](const Body&) { next = start(server.url()); });
    ASSERT_TRUE(waitUntil([&] { return next != nullptr; }));
    EXPECT_EQ(finish(next), "second");
}

} // namespace
} // namespace kestrelnet
