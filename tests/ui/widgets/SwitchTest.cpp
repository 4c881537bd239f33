// SPDX-License-Identifier: MIT
#include "ui/widgets/Switch.h"

#include "ui/widgets/Form.h"

#include <QApplication>
#include <QImage>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace kestrelnet {

namespace {

/// Without a label, which has no mirror image.
QImage drawn(Qt::LayoutDirection direction, bool isOn) {
    Switch made{QString()};
    made.setLayoutDirection(direction);
    made.setChecked(isOn);
    made.resize(300, made.sizeHint().height());
    return made.grab().toImage();
}

/// The largest difference of a colour's part, from 0 to 255.
int difference(const QImage& one, const QImage& other) {
    int largest = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x) {
            const QColor a = one.pixelColor(x, y);
            const QColor b = other.pixelColor(x, y);
            largest = std::max({largest, std::abs(a.red() - b.red()),
                                std::abs(a.green() - b.green()), std::abs(a.blue() - b.blue())});
        }
    }
    return largest;
}

class SwitchTest : public testing::TestWithParam<bool> {};

TEST_P(SwitchTest, isItsMirrorImageInARightToLeftLayout) {
    // Smoothed edges are not quite symmetrical.
    EXPECT_LT(difference(drawn(Qt::RightToLeft, GetParam()),
                         drawn(Qt::LeftToRight, GetParam()).mirrored(true, false)),
              40);
}

INSTANTIATE_TEST_SUITE_P(States, SwitchTest, testing::Bool());

/// The columns in which `image` differs from its left edge, from the first to the last.
std::pair<int, int> drawnColumns(const QImage& image) {
    std::pair<int, int> columns{image.width(), -1};
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixel(x, y) != image.pixel(image.width() / 2, 0)) {
                columns = {std::min(columns.first, x), x};
            }
        }
    }
    return columns;
}

TEST(SwitchLayoutTest, theLabelIsAtTheStartOfTheRow) {
    for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        Switch made(QStringLiteral("Start at login"));
        made.setLayoutDirection(direction);
        made.resize(made.sizeHint().width() + 200, made.sizeHint().height());
        QImage image = made.grab().toImage();
        const int half = image.width() / 2;
        const bool isMirrored = direction == Qt::RightToLeft;
        const auto [first, last] =
            drawnColumns(image.copy(isMirrored ? half : 0, 0, half, image.height()));
        EXPECT_LT(isMirrored ? half - last : first, 4);
        EXPECT_LT(last - first, made.fontMetrics().horizontalAdvance(made.text()) + 2);
    }
}

TEST(SwitchLayoutTest, aRowKeepsTheSwitchAtItsPaddingInBothDirections) {
    for (const auto direction : {Qt::LeftToRight, Qt::RightToLeft}) {
        QApplication::setLayoutDirection(direction);
        FormRow row(FormRow::Place::apart, nullptr);
        auto* const made = new Switch(QStringLiteral("Start at login"));
        row.add(made);
        row.setOutset({0, 0, Switch::outset, 0});
        row.resize(FormSection::width, row.sizeHint().height());
        row.grab();
        const QRect place = made->geometry();
        const int start = place.left();
        const int end = FormSection::width - 1 - place.right();
        const bool isMirrored = direction == Qt::RightToLeft;
        EXPECT_EQ(isMirrored ? end : start, FormSection::padding);
        EXPECT_EQ(isMirrored ? start : end, FormSection::padding - Switch::outset);
    }
    QApplication::setLayoutDirection(Qt::LeftToRight);
}

} // namespace

} // namespace kestrelnet
