// SPDX-License-Identifier: MIT
#include "ui/style/Symbols.h"

#include "tests/support/ScopedVariable.h"
#include "tests/support/TemporaryFolder.h"
#include "ui/shell/StatusBarIcon.h"
#include "ui/style/StatusStyle.h"

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <gtest/gtest.h>

#include <algorithm>

namespace kestrelnet {

namespace {

constexpr std::string_view names[] = {"lock.shield",
                                      "lock.shield.fill",
                                      "arrow.triangle.2.circlepath",
                                      "exclamationmark.shield",
                                      "globe",
                                      "server.rack",
                                      "key",
                                      "play.fill",
                                      "stop.fill"};

QImage drawn(std::string_view name, int side, const QColor& color) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paintSymbol(painter, name, QRectF(0, 0, side, side), color);
    return image;
}

/// The share of pixels that are more than half opaque.
double coverage(const QImage& image) {
    int covered = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            covered += image.pixelColor(x, y).alpha() > 127 ? 1 : 0;
        }
    }
    return covered / static_cast<double>(image.width() * image.height());
}

TEST(SymbolsTest, eachSymbolIsDrawnInTheRequestedColour) {
    for (const std::string_view name : names) {
        const QImage image = drawn(name, 64, QColor(200, 30, 40));
        EXPECT_GT(coverage(image), 0.04) << name;
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) {
                const QColor pixel = image.pixelColor(x, y);
                if (pixel.alpha() == 255) {
                    ASSERT_NEAR(pixel.red(), 200, 2) << name;
                    ASSERT_NEAR(pixel.green(), 30, 2) << name;
                    ASSERT_NEAR(pixel.blue(), 40, 2) << name;
                }
            }
        }
    }
}

TEST(SymbolsTest, eachSymbolKeepsAMargin) {
    for (const std::string_view name : names) {
        const QImage image = drawn(name, 96, Qt::black);
        for (int i = 0; i < 96; ++i) {
            for (const QColor& pixel : {image.pixelColor(i, 0), image.pixelColor(i, 95),
                                        image.pixelColor(0, i), image.pixelColor(95, i)}) {
                ASSERT_EQ(pixel.alpha(), 0) << name;
            }
        }
    }
}

TEST(SymbolsTest, anUnknownNameDrawsNothing) {
    EXPECT_EQ(coverage(drawn("no.such.symbol", 24, Qt::black)), 0);
}

QPixmap statusBarPixmap(std::string_view symbol, int side) {
    return statusBarIcon(symbol).pixmap(QSize(side, side));
}

TEST(StatusBarIconTest, hasAllSizes) {
    const QIcon icon = statusBarIcon("lock.shield");
    for (const int side : {16, 22, 24, 32, 44, 48, 64}) {
        EXPECT_TRUE(icon.availableSizes().contains(QSize(side, side))) << side;
        EXPECT_EQ(icon.pixmap(QSize(side, side)).size(), QSize(side, side));
        EXPECT_GT(coverage(statusBarPixmap("lock.shield", side).toImage()), 0.3) << side;
    }
}

/// The number of pixels that are clearly lighter and clearly darker than the grey background.
std::pair<int, int> lighterAndDarker(std::string_view symbol, int ground) {
    QImage image(22, 22, QImage::Format_RGB32);
    image.fill(QColor(ground, ground, ground));
    QPainter(&image).drawPixmap(0, 0, statusBarPixmap(symbol, 22));
    std::pair<int, int> counts;
    for (int y = 0; y < 22; ++y) {
        for (int x = 0; x < 22; ++x) {
            const int gray = qGray(image.pixel(x, y));
            counts.first += gray > ground + 40 ? 1 : 0;
            counts.second += gray < ground - 40 ? 1 : 0;
        }
    }
    return counts;
}

TEST(StatusBarIconTest, standsOutOnLightAndDarkStatusBars) {
    for (const std::string_view symbol : {"lock.shield", "lock.shield.fill"}) {
        EXPECT_GT(lighterAndDarker(symbol, 255).second, 60) << symbol;
        EXPECT_GT(lighterAndDarker(symbol, 20).first, 60) << symbol;
        EXPECT_GT(lighterAndDarker(symbol, 128).first, 60) << symbol;
    }
}

TEST(StatusBarIconTest, hasAThemeNameOnlyIfTheThemeContainsTheSymbol) {
    const TemporaryFolder data;
    const ScopedVariable home("XDG_DATA_HOME", data.path().c_str());
    const ScopedVariable system("XDG_DATA_DIRS", data.file("none").c_str());
    const QImage before = statusBarPixmap("lock.shield.fill", 22).toImage();
    EXPECT_EQ(statusBarIcon("lock.shield.fill").name(), QString());
    const std::string name = "com.kestrelnetvpn.app-connected-symbolic";
    data.write("icons/hicolor/symbolic/apps/" + name + ".svg", "<svg/>");
    EXPECT_EQ(statusBarIcon("lock.shield.fill").name().toStdString(), name);
    EXPECT_EQ(statusBarIcon("lock.shield").name(), QString());
    EXPECT_EQ(statusBarPixmap("lock.shield.fill", 22).toImage(), before);
}

TEST(StatusBarIconTest, theShapeDependsOnTheState) {
    // Inside the shield, beside the lock.
    const auto inside = [](std::string_view symbol, int side) {
        return qGray(statusBarPixmap(symbol, side).toImage().pixel(side * 7 / 24, side * 10 / 24));
    };
    for (const int side : {22, 64}) {
        EXPECT_GT(inside("lock.shield.fill", side), inside("lock.shield", side) + 80) << side;
    }
}

} // namespace

} // namespace kestrelnet
