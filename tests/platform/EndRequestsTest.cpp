// SPDX-License-Identifier: MIT
#include "platform/EndRequests.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/NoDescriptors.h"

#include <QCoreApplication>
#include <QEvent>

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace kestrelnet {
namespace {

class EndRequestsTest : public testing::Test {
  protected:
    void listen() {
        requests_ = std::make_unique<EndRequests>([this] { ++wanted_; });
    }
    bool isWanted() {
        return waitUntil([this] { return wanted_ > 0; });
    }

    /// Sends the request that the desktop sends at the end of the session.
    static void sendQuit() {
        QEvent quit(QEvent::Quit);
        QCoreApplication::sendEvent(QCoreApplication::instance(), &quit);
    }

    int wanted_ = 0;
    std::unique_ptr<EndRequests> requests_;
};

class EndSignalTest : public EndRequestsTest, public testing::WithParamInterface<int> {};

TEST_P(EndSignalTest, isReportedFromTheEventLoop) {
    listen();
    ASSERT_EQ(::raise(GetParam()), 0);
    EXPECT_EQ(wanted_, 0) << "called in the signal's midst";
    EXPECT_TRUE(isWanted());
}

TEST_P(EndSignalTest, staysIgnoredIfItWas) {
    ::signal(GetParam(), SIG_IGN);
    listen();
    ASSERT_EQ(::raise(GetParam()), 0);
    runPostedEvents();
    EXPECT_EQ(wanted_, 0);
    requests_.reset();
    EXPECT_EQ(::signal(GetParam(), SIG_DFL), SIG_IGN);
}

TEST_P(EndSignalTest, hasItsDispositionBackAfterwards) {
    listen();
    requests_.reset();
    EXPECT_EQ(::signal(GetParam(), SIG_DFL), SIG_DFL);
}

INSTANTIATE_TEST_SUITE_P(All, EndSignalTest, testing::Values(SIGTERM, SIGINT, SIGHUP));

TEST_F(EndRequestsTest, furtherRequestsDoNothing) {
    listen();
    ASSERT_EQ(::raise(SIGINT), 0);
    ASSERT_TRUE(isWanted());
    ASSERT_EQ(::raise(SIGINT), 0);
    ASSERT_EQ(::raise(SIGTERM), 0);
    sendQuit();
    runPostedEvents();
    EXPECT_EQ(wanted_, 1);
}

TEST_F(EndRequestsTest, manySignalsAreOneRequest) {
    listen();
    constexpr int moreThanAPipeHolds = 100000;
    for (int i = 0; i < moreThanAPipeHolds; ++i) {
        ASSERT_EQ(::raise(SIGTERM), 0);
    }
    EXPECT_TRUE(isWanted());
    runPostedEvents();
    EXPECT_EQ(wanted_, 1);
}

TEST_F(EndRequestsTest, withoutADescriptorTheReasonIsLogged) {
    const LogRecorder recorder;
    {
        const NoDescriptors exhausted;
        listen();
    }
    EXPECT_THAT(recorder.messages(),
                testing::Contains("warning kestrelnet.system: signals cannot be watched: Too many "
                                  "open files"));
}

TEST_F(EndRequestsTest, aSignalMayArriveOnAnyThread) {
    listen();
    std::thread other([] { ::raise(SIGTERM); });
    other.join();
    EXPECT_TRUE(isWanted());
}

TEST_F(EndRequestsTest, theDesktopsRequestIsReportedAndDoesNotEndTheProgram) {
    listen();
    int turns = 0;
    EXPECT_TRUE(waitUntil([&turns] {
        if (++turns == 2) {
            sendQuit();
        }
        return turns == 4;
    })) << "the event loop has ended";
    EXPECT_EQ(wanted_, 1);
}

} // namespace
} // namespace kestrelnet
