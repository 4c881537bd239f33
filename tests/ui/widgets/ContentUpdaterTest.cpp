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

} // namespace

} // namespace kestrelnet
