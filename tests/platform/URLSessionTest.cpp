// SPDX-License-Identifier: MIT
#include "platform/URLSession.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TlsServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet {
namespace {

constexpr std::size_t largestBody = 1024UL * 1024;

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using Body = std::optional<std::string>;
using Ending = TlsAnswer::Ending;

class URLSessionTest : public testing::Test {
  protected:
    struct Lookup {
        int completions = 0;
        Body body;
    };

    std::shared_ptr<const Lookup> start(const std::string& url) {
        auto lookup = std::make_shared<Lookup>();
        session->data(url, [lookup](Body body) {
            ++lookup->completions;
            lookup->body = std::move(body);
        });
        EXPECT_EQ(lookup->completions, 0) << "completed before data() returned";
        return lookup;
    }

    Body finish(const std::shared_ptr<const Lookup>& lookup) {
        EXPECT_TRUE(waitUntil([&] { return lookup->completions > 0; })) << "never completed";
        runPostedEvents();
        EXPECT_EQ(lookup->completions, 1);
        return lookup->body;
    }

    Body get(const std::string& url) { return finish(start(url)); }

    Body getAnswer(const TlsAnswer& answer) {
        server.enqueue(answer);
        return get(server.url());
    }

    TlsServer server;
    std::unique_ptr<URLSession> session = std::make_unique<URLSession>();
};

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
                         testing::Values(200, 201, 203, 299, 300, 400, 401, 403, 404, 405, 407, 408,
                                         409, 410, 418, 429, 451, 500, 501, 502, 503, 504, 599));

TEST_F(URLSessionTest, givesABodyThatIsNotUtf8Unchanged) {
    const std::string bytes("\xff\x00\xc3(\r\n\xfe", 7);
    EXPECT_EQ(getAnswer({.body = bytes}), bytes);
}

TEST_F(URLSessionTest, redirectIsFollowed) {
    server.serve("/here", {.status = 302, .body = "Moved.", .location = server.url("/there")});
    server.serve("/there", {.body = "203.0.113.7"});
    EXPECT_EQ(get(server.url("/here")), "203.0.113.7");
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
                IsSupersetOf({"warning kestrelnet.exitip: the request failed: Connection refused",
                              "warning kestrelnet.exitip: the request failed: the response is too "
                              "large"}));
}

TEST_F(URLSessionTest, aSuccessLogsNothing) {
    const LogRecorder recorder;
    EXPECT_EQ(getAnswer({.status = 404, .body = "203.0.113.7"}), "203.0.113.7");
    EXPECT_THAT(recorder.messages(), Not(Contains(HasSubstr("kestrelnet."))));
}

TEST_F(URLSessionTest, untrustedCertificateFails) {
    server.enqueue({.body = "203.0.113.7"});
    server.distrust();
    EXPECT_EQ(get(server.url()), std::nullopt);
    EXPECT_EQ(server.requestCount(), 0U);
}

TEST_F(URLSessionTest, unusableAddressFails) {
    for (const std::string_view url : {"", "no address", "https://", "unknown:something"}) {
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

TEST_F(URLSessionTest, sixLookupsRunAtATimeAndTheOthersWait) {
    constexpr std::size_t lookups = 8;
    constexpr std::size_t atATime = 6;
    std::size_t answered = 0;
    for (std::size_t lookup = 0; lookup < lookups; ++lookup) {
        server.enqueue({.body = "203.0.113.7", .held = true});
        session->data(server.url(), [&answered](const Body& body) { answered += body ? 1 : 0; });
    }
    ASSERT_TRUE(waitUntil([&] { return server.requestCount() == atATime; }));
    server.release(0);
    ASSERT_TRUE(waitUntil([&] { return answered == 1; }));
    EXPECT_TRUE(waitUntil([&] { return server.requestCount() == atATime + 1; }));
    for (std::size_t request = 1; request < lookups; ++request) {
        server.release(request);
    }
    EXPECT_TRUE(waitUntil([&] { return answered == lookups; }));
    EXPECT_EQ(server.requestCount(), lookups);
}

TEST_F(URLSessionTest, lookupsBeyondAThousandWaitingOnesFail) {
    constexpr std::size_t accepted = 1006;
    const LogRecorder recorder;
    server.serve("/", {.body = "203.0.113.7", .held = true});
    std::size_t failed = 0;
    for (std::size_t lookup = 0; lookup < accepted + 2; ++lookup) {
        session->data(server.url(), [&failed](const Body& body) { failed += body ? 0 : 1; });
    }
    EXPECT_EQ(failed, 0U);
    EXPECT_TRUE(waitUntil([&] { return failed == 2; }));
    EXPECT_THAT(
        recorder.messages(),
        Contains("warning kestrelnet.exitip: the request failed: too many requests wait").Times(2));
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
