// SPDX-License-Identifier: MIT
#include "ui/panel/PanelPlacement.h"

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

constexpr QSize panelSize{280, 200};
constexpr QRect workArea{0, 32, 1280, 768};
constexpr QRect inside = workArea.adjusted(8, 8, -8, -8);

QRect placed(QRect icon, QRect area = workArea) {
    return {panelPosition(icon, panelSize, area), panelSize};
}

QRect placedAt(QPoint pointer, QRect area = workArea) {
    return placed(assumedIcon(pointer, area), area);
}

TEST(PanelPlacementTest, thePanelIsBelowAnIconInTheUpperHalf) {
    EXPECT_EQ(placed({588, 90, 24, 24}), QRect(459, 122, 280, 200));
}

TEST(PanelPlacementTest, thePanelIsAboveAnIconInTheLowerHalf) {
    EXPECT_EQ(placed({588, 690, 24, 24}), QRect(459, 482, 280, 200));
}

TEST(PanelPlacementTest, thePanelIsBesideAnIconWithoutRoomAboveAndBelow) {
    const QRect low(0, 0, 800, 300);
    EXPECT_EQ(placed({0, 140, 24, 24}, low), QRect(32, 8, 280, 200));
    EXPECT_EQ(placed({776, 140, 24, 24}, low), QRect(488, 8, 280, 200));
}

TEST(PanelPlacementTest, aPointerInTheReservedPartOfTheScreenIsTheIcon) {
    EXPECT_EQ(assumedIcon({600, 16}, workArea), QRect(600, 16, 1, 1));
    EXPECT_EQ(placedAt({600, 16}).top(), inside.top());
}

TEST(PanelPlacementTest, anIconUnderThePointerMayReachAsFarAsIconsDo) {
    // A desktop that reserves no part of the screen for its bar.
    const QRect whole(0, 0, 1280, 800);
    for (const QPoint pointer : {QPoint(1260, 2), QPoint(1260, 798)}) {
        const QRect largest = QRect(pointer, QSize(1, 1)).adjusted(-24, -24, 24, 24);
        EXPECT_FALSE(placedAt(pointer, whole).intersects(largest)) << pointer.y();
    }
}

TEST(PanelPlacementTest, thePanelIsInsideTheWorkAreaForEveryPointer) {
    for (const QPoint pointer : {QPoint(0, 0), QPoint(1279, 0), QPoint(0, 799), QPoint(1279, 799),
                                 QPoint(640, 5), QPoint(640, 799), QPoint(-500, 5000)}) {
        EXPECT_TRUE(inside.contains(placedAt(pointer))) << pointer.x() << ' ' << pointer.y();
    }
}

TEST(PanelPlacementTest, theScreenMayBeginAtAnOffset) {
    const QRect right(1280, 0, 1024, 768);
    EXPECT_TRUE(right.contains(placedAt({1290, 2}, right)));
}

TEST(PanelPlacementTest, theTopLeftCornerIsVisibleIfThePanelDoesNotFit) {
    EXPECT_EQ(panelPosition({50, 50, 1, 1}, panelSize, {0, 0, 100, 100}), QPoint(8, 8));
}

} // namespace

} // namespace kestrelnet
