// SPDX-License-Identifier: MIT
// Runs the build tool that draws the status bar's icons.
#include "tests/support/TemporaryFolder.h"

#include <QProcess>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace kestrelnet {
namespace {

constexpr int pictureSide = 24;

/// The opacity of each pixel of `symbol`, drawn with `options`.
std::string opacity(const QString& symbol, const QStringList& options) {
    const TemporaryFolder folder;
    const std::string path =
        folder.file(symbol.toStdString() + '-' + std::to_string(pictureSide) + ".argb");
    QProcess tool;
    tool.start(QStringLiteral(KESTRELNET_DRAW_STATUS_BAR_ICONS),
               options +
                   QStringList{QStringLiteral(KESTRELNET_SYMBOLS), QString::fromStdString(path)});
    tool.waitForFinished(-1);
    const std::string pixels = readFile(path);
    std::string result;
    // Each pixel is a word with the opacity in its highest byte.
    for (std::size_t byte = 3; byte < pixels.size(); byte += 4) {
        result += pixels[byte];
    }
    EXPECT_EQ(result.size(), static_cast<std::size_t>(pictureSide * pictureSide));
    return result;
}

TEST(StatusBarPicturesTest, asAShapeTheFilledShieldCoversMoreThanTheOutlinedOne) {
    const QStringList options{QStringLiteral("--shape")};
    const auto opaque = [](const std::string& pixels) {
        return std::count(pixels.begin(), pixels.end(), '\xff');
    };
    const auto outlined = opaque(opacity(QStringLiteral("lock.shield"), options));
    const auto filled = opaque(opacity(QStringLiteral("lock.shield.fill"), options));
    EXPECT_GT(outlined, 0);
    EXPECT_GT(2 * filled, 3 * outlined);
}

TEST(StatusBarPicturesTest, inColourBothShieldsHaveTheSameGround) {
    EXPECT_EQ(opacity(QStringLiteral("lock.shield"), {}),
              opacity(QStringLiteral("lock.shield.fill"), {}));
}

} // namespace
} // namespace kestrelnet
