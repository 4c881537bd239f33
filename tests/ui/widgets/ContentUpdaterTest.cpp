// SPDX-License-Identifier: MIT
#include "ui/widgets/ContentUpdater.h"

#include "tests/support/VirtualTime.h"

#include <gtest/gtest.h>

#include <vector>

namespace kestrelnet {

namespace {

class ContentUpdaterTest : public testing::Test {
  protected:
    using Updater = ContentUpdater<int>;

    void change(int newValue) {
        updater->noteChange();
        value = newValue;
    }

    VirtualTime time;
    int value = 1;
    bool isVisible = true;
    std::vector<int> applied;
    std::unique_ptr<Updater> updater = std::make_unique<Updater>(
        time.mainQueue(),
        Updater::View{.content = [this] { return value; },
                      .apply = [this](int content) { applied.push_back(content); },
                      .isVisible = [this] { return isVisible; }});
};

TEST_F(ContentUpdaterTest, appliesTheLastValueOncePerTurn) {
    change(2);
    change(3);
    EXPECT_EQ(applied, std::vector<int>{});
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_EQ(applied, std::vector{3});
}

TEST_F(ContentUpdaterTest, appliesTheChangesWithinAFrameTogetherAtItsEnd) {
    change(2);
    time.runPending();
    change(3);
    change(4);
    time.advance(0.9 * Redraw::frame);
    change(5);
    EXPECT_EQ(applied, std::vector{2});
    time.advance(0.2 * Redraw::frame);
    EXPECT_EQ(applied, (std::vector{2, 5}));
}

TEST_F(ContentUpdaterTest, appliesAChangeAfterAFrameInTheNextTurn) {
    change(2);
    time.advance(Redraw::frame);
    change(3);
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_EQ(applied, (std::vector{2, 3}));
}

TEST_F(ContentUpdaterTest, appliesAFloodOfChangesOncePerFrame) {
    for (int last = 2; last <= 1001; ++last) {
        change(last);
        time.advance(Seconds(0.001));
    }
    time.advance(Redraw::frame);
    EXPECT_GE(applied.size(), 55U);
    EXPECT_LE(applied.size(), 62U);
    EXPECT_EQ(applied.back(), 1001);
    EXPECT_EQ(time.pendingCount(), 0U);
}

TEST_F(ContentUpdaterTest, aNoticeThatChangesNothingDelaysNoLaterChange) {
    updater->update();
    change(1);
    time.runPending();
    change(2);
    time.runPending();
    EXPECT_EQ(applied, (std::vector{1, 2}));
}

TEST_F(ContentUpdaterTest, updateChangedAppliesAtOnceWithinAFrame) {
    change(2);
    time.runPending();
    value = 3;
    updater->updateChanged();
    EXPECT_EQ(applied, (std::vector{2, 3}));
}

TEST_F(ContentUpdaterTest, aChangeDuringTheUpdateIsAppliedInALaterFrame) {
    updater.reset();
    updater = std::make_unique<Updater>(time.mainQueue(),
                                        Updater::View{.content = [this] { return value; },
                                                      .apply =
                                                          [this](int content) {
                                                              applied.push_back(content);
                                                              if (content < 3) {
                                                                  change(content + 1);
                                                              }
                                                          },
                                                      .isVisible = [] { return true; }});
    change(1);
    time.runPending();
    EXPECT_EQ(applied, std::vector{1});
    time.advance(2.5 * Redraw::frame);
    EXPECT_EQ(applied, (std::vector{1, 2, 3}));
}

TEST_F(ContentUpdaterTest, doesNotApplyTheSameContentTwice) {
    updater->update();
    change(1);
    time.runPending();
    updater->updateChanged();
    EXPECT_EQ(applied, std::vector{1});
}

TEST_F(ContentUpdaterTest, appliesTheSameContentAgainAfterForgetShown) {
    updater->update();
    updater->forgetShown();
    updater->update();
    EXPECT_EQ(applied, std::vector{1}) << "without a change there is no update";
    updater->updateChanged();
    EXPECT_EQ(applied, (std::vector{1, 1}));
}

TEST_F(ContentUpdaterTest, notesChangesWhileHiddenUntilUpdate) {
    updater->update();
    isVisible = false;
    change(2);
    EXPECT_EQ(time.pendingCount(), 0U);
    updater->update();
    EXPECT_EQ(applied, (std::vector{1, 2}));
}

TEST_F(ContentUpdaterTest, updateChangedAppliesAtOnceWhileHidden) {
    isVisible = false;
    updater->update();
    value = 2;
    updater->updateChanged();
    EXPECT_EQ(applied, (std::vector{1, 2}));
    EXPECT_EQ(time.pendingCount(), 0U);
}

TEST_F(ContentUpdaterTest, doesNothingAfterItIsDestroyed) {
    change(2);
    updater.reset();
    time.runPending();
    EXPECT_EQ(applied, std::vector<int>{});
}

TEST_F(ContentUpdaterTest, doesNothingWhenItIsDestroyedWithinAFrame) {
    change(2);
    time.runPending();
    change(3);
    updater.reset();
    time.advance(Redraw::frame);
    EXPECT_EQ(applied, std::vector{2});
}

} // namespace

} // namespace kestrelnet
