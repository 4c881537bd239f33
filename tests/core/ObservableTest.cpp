// SPDX-License-Identifier: MIT
#include "core/Observable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using Subscription = ObservableObjectPublisher::Subscription;

TEST(PublishedTest, theNoticeComesBeforeTheValueIsStored) {
    ObservableObjectPublisher publisher;
    Published<std::string> member(publisher, "old");
    std::vector<std::string> seen;
    const Subscription subscription = publisher.subscribe([&] { seen.push_back(member); });
    member = "new";
    EXPECT_THAT(seen, ElementsAre("old"));
    EXPECT_EQ(*member, "new");
}

TEST(PublishedTest, anEqualValueIsAnnouncedAsWell) {
    ObservableObjectPublisher publisher;
    Published<int> member(publisher, 1);
    int notices = 0;
    const Subscription subscription = publisher.subscribe([&] { ++notices; });
    member = 1;
    member = 1;
    EXPECT_EQ(notices, 2);
}

TEST(PublishedTest, theInitialValueIsNotAnnouncedAndNotSet) {
    ObservableObjectPublisher publisher;
    int notices = 0;
    int sets = 0;
    const Subscription subscription = publisher.subscribe([&] { ++notices; });
    const Published<int> member(publisher, 1, [&](int) { ++sets; });
    EXPECT_EQ(member, 1);
    EXPECT_EQ(notices, 0);
    EXPECT_EQ(sets, 0);
}

TEST(PublishedTest, didSetGetsTheStoredValueAfterEachAssignment) {
    ObservableObjectPublisher publisher;
    std::vector<std::string> events;
    Published<std::string> member(
        publisher, "old", [&](const std::string& value) { events.push_back("set " + value); });
    const Subscription subscription = publisher.subscribe([&] { events.emplace_back("notice"); });
    member = "new";
    member = "new";
    EXPECT_THAT(events, ElementsAre("notice", "set new", "notice", "set new"));
}

TEST(PublishedTest, anOptionalCanBeSetAndCleared) {
    ObservableObjectPublisher publisher;
    Published<std::optional<std::string>> member(publisher);
    EXPECT_FALSE(member->has_value());
    member = "value";
    EXPECT_EQ(*member, "value");
    member = std::nullopt;
    EXPECT_FALSE(member->has_value());
}

TEST(PublisherTest, observersAreCalledInTheOrderOfSubscription) {
    ObservableObjectPublisher publisher;
    std::vector<int> heard;
    const Subscription first = publisher.subscribe([&] { heard.push_back(1); });
    const Subscription second = publisher.subscribe([&] { heard.push_back(2); });
    publisher.send();
    EXPECT_THAT(heard, ElementsAre(1, 2));
}

TEST(PublisherTest, anEndedSubscriptionGetsNoNotice) {
    ObservableObjectPublisher publisher;
    int heard = 0;
    {
        const Subscription subscription = publisher.subscribe([&] { ++heard; });
        publisher.send();
    }
    publisher.send();
    EXPECT_EQ(heard, 1);
}

TEST(PublisherTest, aSubscriptionCanBeMovedAndReplaced) {
    ObservableObjectPublisher publisher;
    std::vector<int> heard;
    Subscription first = publisher.subscribe([&] { heard.push_back(1); });
    Subscription moved = std::move(first);
    publisher.send();
    moved = publisher.subscribe([&] { heard.push_back(2); });
    publisher.send();
    EXPECT_THAT(heard, ElementsAre(1, 2));
}

TEST(PublisherTest, aSubscriptionMayOutliveThePublisher) {
    Subscription subscription;
    {
        ObservableObjectPublisher publisher;
        subscription = publisher.subscribe([] {});
    }
    subscription = Subscription();
}

TEST(PublisherTest, anObserverMaySubscribeAndTheNewOneGetsTheNextNotice) {
    ObservableObjectPublisher publisher;
    std::vector<Subscription> added;
    std::vector<std::string> heard;
    const Subscription first = publisher.subscribe([&] {
        heard.emplace_back("first");
        added.push_back(publisher.subscribe([&] { heard.emplace_back("added"); }));
    });
    publisher.send();
    EXPECT_THAT(heard, ElementsAre("first"));
    heard.clear();
    publisher.send();
    EXPECT_THAT(heard, ElementsAre("first", "added"));
}

TEST(PublisherTest, anObserverMayEndSubscriptionsIncludingItsOwn) {
    ObservableObjectPublisher publisher;
    std::vector<int> heard;
    Subscription first;
    Subscription second;
    first = publisher.subscribe([&] {
        heard.push_back(1);
        first = Subscription();
        second = Subscription();
    });
    second = publisher.subscribe([&] { heard.push_back(2); });
    const Subscription third = publisher.subscribe([&] { heard.push_back(3); });
    publisher.send();
    publisher.send();
    EXPECT_THAT(heard, ElementsAre(1, 3, 3));
}

TEST(PublisherTest, anObserverThatEndsItsOwnSubscriptionExistsUntilItReturns) {
    ObservableObjectPublisher publisher;
    ObservableObjectPublisher::Subscription own;
    const auto held = std::make_shared<int>(5);
    int seen = 0;
    own = publisher.subscribe([&own, &seen, copy = held] {
        own = {};
        seen = *copy;
    });
    publisher.send();
    EXPECT_EQ(seen, 5);
    EXPECT_EQ(held.use_count(), 1) << "it is destroyed with the notice";
}

TEST(PublisherTest, theDestructionOfAnObserverMayEndAnotherSubscription) {
    ObservableObjectPublisher publisher;
    int heard = 0;
    const auto other = std::make_shared<ObservableObjectPublisher::Subscription>(
        publisher.subscribe([&heard] { ++heard; }));
    ObservableObjectPublisher::Subscription own;
    struct EndsOther {
        explicit EndsOther(std::shared_ptr<ObservableObjectPublisher::Subscription> subscription)
            : other(std::move(subscription)) {}
        ~EndsOther() { *other = {}; }
        EndsOther(const EndsOther&) = delete;
        EndsOther& operator=(const EndsOther&) = delete;

        std::shared_ptr<ObservableObjectPublisher::Subscription> other;
    };
    own = publisher.subscribe([&own, ends = std::make_shared<EndsOther>(other)] { own = {}; });
    publisher.send();
    publisher.send();
    EXPECT_EQ(heard, 1);
}

TEST(PublisherTest, anObserverMayAssignAMember) {
    ObservableObjectPublisher publisher;
    Published<int> member(publisher, 0);
    int depth = 0;
    const Subscription subscription = publisher.subscribe([&] {
        if (depth++ == 0) {
            member = 5;
        }
    });
    member = 7;
    EXPECT_EQ(member, 7);
    EXPECT_EQ(depth, 2);
}

TEST(PublisherTest, aNoticeWithoutObserversHasNoEffect) {
    ObservableObjectPublisher publisher;
    Published<int> member(publisher, 0);
    member = 1;
    EXPECT_EQ(member, 1);
}

} // namespace
} // namespace kestrelnet
