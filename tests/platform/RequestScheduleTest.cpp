// SPDX-License-Identifier: MIT
#include "platform/RequestSchedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using Number = RequestSchedule::Number;

constexpr std::size_t mostUnderWay = 3;

class RequestScheduleTest : public testing::Test {
  protected:
    void addUpTo(Number last) {
        while (last_ < last) {
            if (const auto dropped = schedule.add(++last_)) {
                dropped_.push_back(*dropped);
            }
        }
    }

    /// The requests that start now.
    std::vector<Number> started() {
        std::vector<Number> requests;
        while (const auto start = schedule.next(now)) {
            requests.push_back(start->request);
            if (start->dropped) {
                dropped_.push_back(*start->dropped);
            }
        }
        return requests;
    }

    /// The requests that have been dropped since the last call.
    std::vector<Number> dropped() { return std::exchange(dropped_, {}); }

    RequestSchedule schedule{mostUnderWay};
    RequestSchedule::Time now{1h};

  private:
    Number last_ = 0;
    std::vector<Number> dropped_;
};

TEST_F(RequestScheduleTest, nothingStartsWithoutARequest) {
    EXPECT_THAT(started(), IsEmpty());
    EXPECT_EQ(schedule.due(), std::nullopt);
}

TEST_F(RequestScheduleTest, theNewestStartFirstUpToTheLimit) {
    addUpTo(5);
    EXPECT_THAT(started(), ElementsAre(5, 4, 3));
    EXPECT_EQ(schedule.due(), std::nullopt);
}

TEST_F(RequestScheduleTest, anEndMakesRoom) {
    addUpTo(5);
    started();
    schedule.end(4);
    EXPECT_THAT(started(), ElementsAre(2));
    EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(RequestScheduleTest, aNewRequestTakesThePlaceOfTheOldestAfterItsLeastTime) {
    addUpTo(3);
    EXPECT_THAT(started(), ElementsAre(3, 2, 1));
    now += RequestSchedule::leastTime;
    addUpTo(4);
    EXPECT_THAT(started(), ElementsAre(4));
    EXPECT_THAT(dropped(), ElementsAre(1));
}

TEST_F(RequestScheduleTest, aRequestIsNotDroppedBeforeItsLeastTime) {
    addUpTo(1);
    started();
    now += 500ms;
    addUpTo(4);
    EXPECT_THAT(started(), ElementsAre(4, 3));
    const auto due = now - 500ms + RequestSchedule::leastTime;
    EXPECT_EQ(schedule.due(), due);
    now = due - 1ms;
    EXPECT_THAT(started(), IsEmpty());
    now = due;
    EXPECT_THAT(started(), ElementsAre(2));
    EXPECT_THAT(dropped(), ElementsAre(1));
}

TEST_F(RequestScheduleTest, anOlderRequestTakesNoPlaceOfANewerOne) {
    addUpTo(4);
    EXPECT_THAT(started(), ElementsAre(4, 3, 2));
    now += 10 * RequestSchedule::leastTime;
    EXPECT_THAT(started(), IsEmpty());
    EXPECT_THAT(dropped(), IsEmpty());
    EXPECT_EQ(schedule.due(), std::nullopt);
}

TEST_F(RequestScheduleTest, aThousandThatComeTogetherAllStart) {
    addUpTo(RequestSchedule::mostWaiting);
    std::vector<Number> all;
    for (auto requests = started(); !requests.empty(); requests = started()) {
        now += 10 * RequestSchedule::leastTime;
        for (const Number request : requests) {
            all.push_back(request);
            schedule.end(request);
        }
    }
    std::vector<Number> expected(RequestSchedule::mostWaiting);
    std::iota(expected.rbegin(), expected.rend(), Number{1});
    EXPECT_EQ(all, expected);
    EXPECT_THAT(dropped(), IsEmpty());
}

TEST_F(RequestScheduleTest, theOldestOfTooManyWaitingOnesIsDropped) {
    addUpTo(RequestSchedule::mostWaiting + 2);
    EXPECT_THAT(dropped(), ElementsAre(1, 2));
}

TEST_F(RequestScheduleTest, aNewRequestDoesNotWaitForAThousandThatHang) {
    addUpTo(RequestSchedule::mostWaiting);
    started();
    now += RequestSchedule::leastTime;
    addUpTo(RequestSchedule::mostWaiting + 1);
    EXPECT_THAT(started(), ElementsAre(RequestSchedule::mostWaiting + 1));
    EXPECT_THAT(dropped(), ElementsAre(RequestSchedule::mostWaiting - 2));
}

TEST_F(RequestScheduleTest, clearingRemovesAllRequests) {
    addUpTo(5);
    started();
    schedule.clear();
    EXPECT_EQ(schedule.due(), std::nullopt);
    addUpTo(8);
    EXPECT_THAT(started(), ElementsAre(8, 7, 6));
}

} // namespace
} // namespace kestrelnet
