// SPDX-License-Identifier: MIT
// The shield on light and dark status bars that draw it in its own colours, measured on pixels.
#include "tests/ui/Contrast.h"
#include "ui/shell/StatusBarIcon.h"
#include "ui/style/Svg.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>

namespace kestrelnet {

namespace {

enum class Source { iconTheme, builtIn };

/// The installed icon for the icon theme, or the picture in the program.
QImage picture(Source source, bool isConnected, int side) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    if (source == Source::builtIn) {
        const auto* const symbol = isConnected ? "lock.shield.fill" : "lock.shield";
        painter.drawPixmap(0, 0, statusBarIcon(symbol).pixmap(QSize(side, side)));
        return image;
    }
    QFile file(isConnected ? QStringLiteral(KESTRELNET_ICONS "/com.kestrelnetvpn.app-symbolic.svg")
                           : QStringLiteral(KESTRELNET_ICONS
                                            "/com.kestrelnetvpn.app-disconnected-symbolic.svg"));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
    paintSvg(painter, file.readAll(), QRectF(0, 0, side, side));
    return image;
}

using Ground = const char*;

class StatusBarContrastTest : public testing::TestWithParam<std::tuple<Source, Ground, int>> {
  protected:
    const QColor ground{QLatin1StringView(std::get<1>(GetParam()))};
    const int side = std::get<2>(GetParam());

    QImage shield(bool isConnected) const {
        return picture(std::get<0>(GetParam()), isConnected, side);
    }
    QImage onGround(const QImage& shield) const {
        QImage image(shield.size(), QImage::Format_RGB32);
        image.fill(ground);
        QPainter(&image).drawImage(0, 0, shield);
        return image;
    }
    double contrastBetween(const QImage& image, int y, int first, int last) const {
        double best = 1;
        for (int x = first; x <= last; ++x) {
            best = std::max(best, contrast(image.pixelColor(x, y), ground));
        }
        return best;
    }
};

/// Not the rows at the ends, where only the outer one of the two rings is.
TEST_P(StatusBarContrastTest, theOutlineIsVisibleOnBothSidesOfEachRow) {
    for (const bool isConnected : {false, true}) {
        const QImage image = onGround(shield(isConnected));
        for (int y = side * 3 / 16; y < side * 14 / 16; ++y) {
            EXPECT_GE(contrastBetween(image, y, 0, side / 2), distinct) << "row " << y;
            EXPECT_GE(contrastBetween(image, y, (side - 1) / 2, side - 1), distinct) << "row " << y;
        }
    }
}

/// Compares the space between the outline and the lock.
TEST_P(StatusBarContrastTest, theStatesDifferVisibly) {
    const QImage connected = onGround(shield(true));
    const QImage other = onGround(shield(false));
    double best = 1;
    for (int x = side * 3 / 16; x <= side * 5 / 16; ++x) {
        best = std::max(best,
                        contrast(connected.pixelColor(x, side / 2), other.pixelColor(x, side / 2)));
    }
    EXPECT_GE(best, distinct);
}

std::string nameOf(const testing::TestParamInfo<StatusBarContrastTest::ParamType>& info) {
    const auto& [source, ground, side] = info.param;
    return std::string(source == Source::iconTheme ? "Theme" : "BuiltIn") + "On" + (ground + 1) +
           "At" + std::to_string(side);
}

INSTANTIATE_TEST_SUITE_P(Shields, StatusBarContrastTest,
                         testing::Combine(testing::Values(Source::iconTheme, Source::builtIn),
                                          testing::Values("#ffffff", "#f0f0f0", "#3c3b37",
                                                          "#000000"),
                                          testing::Values(16, 22, 24, 32, 48)),
                         nameOf);

} // namespace

} // namespace kestrelnet
