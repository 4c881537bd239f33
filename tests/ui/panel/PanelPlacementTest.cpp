// SPDX-License-Identifier: MIT
#include "ui/panel/PanelPlacement.h"

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

constexpr QSize panel{280, 200};
constexpr QRect workArea{0, 32, 1280, 768};
constexpr QRect inside = workArea.adjusted(8, 8, -8, -8);

QRect placed(QPoint pointer, QRect area = workArea) {
    return {panelPosition(pointer, panel, area), panel};
}

TEST(PanelPlacementTest, thePanelIsBelowAPointerInTheUpperHalf) {
    EXPECT_EQ(placed({600, 100}), QRect(460, 108, 280, 200));
}

TEST(PanelPlacementTest, thePanelIsAboveAPointerInTheLowerHalf) {
    EXPECT_EQ(placed({600, 700}), QRect(460, 492, 280, 200));
}

TEST(PanelPlacementTest, thePanelIsInsideTheWorkAreaForEveryPointer) {
    for (const QPoint pointer : {QPoint(0, 0), QPoint(1279, 0), QPoint(0, 799), QPoint(1279, 799),
                                 QPoint(640, 5), QPoint(640, 799), QPoint(-500, 5000)}) {
        EXPECT_TRUE(inside.contains(placed(pointer))) << pointer.x() << ' ' << pointer.y();
    }
}

TEST(PanelPlacementTest, theScreenMayBeginAtAnOffset) {
    const QRect right(1280, 0, 1024, 768);
    EXPECT_TRUE(right.contains(placed({1290, 2}, right)));
}

TEST(PanelPlacementTest, theTopLeftCornerIsVisibleIfThePanelDoesNotFit) {
    EXPECT_EQ(panelPosition({50, 50}, panel, {0, 0, 100, 100}), QPoint(8, 8));
}

} // namespace

} // namespace kestrelnet
