// SPDX-License-Identifier: MIT
#include "ui/widgets/WorkAreaFit.h"

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

constexpr QSize wanted{480, 560};
constexpr QMargins frame{1, 20, 1, 5};
constexpr QRect smallArea{0, 32, 800, 448};

TEST(WorkAreaFitTest, aWindowHasItsSizeWhereThereIsRoom) {
    EXPECT_EQ(fittedSize(wanted, frame, {1280, 768}), wanted);
    EXPECT_EQ(fittedSize(wanted, frame, {482, 585}), wanted);
}

TEST(WorkAreaFitTest, theWindowAndItsFrameFitIntoASmallWorkArea) {
    EXPECT_EQ(fittedSize(wanted, frame, smallArea.size()), QSize(480, 423));
    EXPECT_EQ(fittedSize(wanted, frame, {482, 584}), QSize(480, 559));
    EXPECT_EQ(fittedSize(wanted, frame, {400, 224}), QSize(398, 199));
}

TEST(WorkAreaFitTest, aWindowInsideTheWorkAreaIsNotMoved) {
    EXPECT_EQ(fittedPosition({10, 40, 482, 440}, smallArea), QPoint(10, 40));
    EXPECT_EQ(fittedPosition(smallArea, smallArea), smallArea.topLeft());
}

TEST(WorkAreaFitTest, aWindowIsMovedInsideTheWorkArea) {
    EXPECT_EQ(fittedPosition({700, 300, 482, 440}, smallArea), QPoint(318, 40));
    EXPECT_EQ(fittedPosition({-20, 0, 482, 440}, smallArea), QPoint(0, 32));
}

TEST(WorkAreaFitTest, theCloseButtonOfATooLargeWindowStaysInReach) {
    EXPECT_EQ(fittedPosition({10, 40, 482, 600}, smallArea), QPoint(10, 32));
}

} // namespace

} // namespace kestrelnet
