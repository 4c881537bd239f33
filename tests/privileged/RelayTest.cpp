// SPDX-License-Identifier: MIT
#include "privileged/Relay.h"

#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace kestrelnet::privileged {
namespace {

/// A relay from one pipe to another.
class RelayTest : public testing::Test {
  protected:
    using Ends = std::array<int, 2>;

    void SetUp() override {
        for (Ends* const pipe : {&run, &caller}) {
            ASSERT_EQ(::pipe2(pipe->data(), O_CLOEXEC), 0);
            ASSERT_EQ(::fcntl((*pipe)[0], F_SETFL, O_NONBLOCK), 0);
        }
    }
    ~RelayTest() override {
        for (const int end : {run[0], run[1], caller[0], caller[1]}) {
            ::close(end);
        }
    }

    /// Copies once what can be copied at once. Returns whether something happened.
    static bool step(Relay& relay) {
        Relay::Events events = relay.awaited();
        const bool isReady = ::poll(events.data(), events.size(), 0) > 0;
        relay.copy(events);
        return isReady;
    }
    std::string readOnce() const {
        std::string bytes(std::size_t{1} << 17U, '\0');
        const ssize_t size = ::read(caller[0], bytes.data(), bytes.size());
        bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        return bytes;
    }
    void write(const std::string& bytes) const {
        EXPECT_EQ(::write(run[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /// `size` bytes that show where they belong.
    static std::string numbers(std::size_t size) {
        std::string text;
        for (int number = 0; text.size() < size; ++number) {
            text += std::to_string(number) + '\n';
        }
        text.resize(size);
        return text;
    }

    Ends run{-1, -1};
    Ends caller{-1, -1};
};

TEST_F(RelayTest, movesInOnePieceWhatIsWrittenAtOnce) {
    Relay relay(run[0], caller[1]);
    const std::string text = numbers(4000);
    write(text);
    EXPECT_TRUE(step(relay));
    EXPECT_EQ(readOnce(), text);
    EXPECT_TRUE(relay.isEmpty());
    EXPECT_FALSE(step(relay));
}

TEST_F(RelayTest, keepsAllBytesInOrderWhenTheReaderIsSlow) {
    Relay relay(run[0], caller[1]);
    const std::string text = numbers(std::size_t{1} << 20U);
    constexpr std::size_t piece = 4000;
    std::string received;
    std::size_t sent = 0;
    while (received.size() < text.size()) {
        // Reads only when nothing else can happen: both pipes are full then.
        pollfd room{.fd = run[1], .events = POLLOUT, .revents = 0};
        if (sent < text.size() && ::poll(&room, 1, 0) > 0) {
            const std::string next = text.substr(sent, piece);
            write(next);
            sent += next.size();
        } else if (!step(relay)) {
            const std::string bytes = readOnce();
            ASSERT_FALSE(bytes.empty());
            received += bytes;
        }
    }
    EXPECT_EQ(received, text);
    EXPECT_TRUE(relay.isEmpty());
}

TEST_F(RelayTest, doesNotWaitForAFullPipe) {
    Relay relay(run[0], caller[1]);
    const std::string full = numbers(static_cast<std::size_t>(::fcntl(caller[1], F_GETPIPE_SZ)));
    ASSERT_EQ(::write(caller[1], full.data(), full.size()), static_cast<ssize_t>(full.size()));
    write("more");
    while (step(relay)) {
    }
    EXPECT_FALSE(relay.isEmpty());
    EXPECT_EQ(readOnce(), full);
    EXPECT_TRUE(step(relay));
    EXPECT_EQ(readOnce(), "more");
    EXPECT_TRUE(relay.isEmpty());
}

TEST_F(RelayTest, leavesTheFlagsOfTheCallersPipe) {
    Relay relay(run[0], caller[1]);
    const int flags = ::fcntl(caller[1], F_GETFL);
    write("text");
    EXPECT_TRUE(step(relay));
    EXPECT_EQ(::fcntl(caller[1], F_GETFL), flags);
    EXPECT_EQ(flags & O_NONBLOCK, 0);
}

TEST_F(RelayTest, discardsWhatNobodyReads) {
    Relay relay(run[0], caller[1]);
    write("first");
    ::close(caller[0]);
    caller[0] = -1;
    while (step(relay)) {
        // A pipe without a reader stays ready until it is given up.
    }
    EXPECT_TRUE(relay.isEmpty());
    write("second");
    EXPECT_TRUE(step(relay));
    EXPECT_TRUE(relay.isEmpty());
}

} // namespace
} // namespace kestrelnet::privileged
