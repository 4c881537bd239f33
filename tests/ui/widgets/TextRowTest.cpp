// SPDX-License-Identifier: MIT
#include "ui/widgets/TextRow.h"

#include "ui/style/TextStyle.h"

#include <QFontInfo>

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

class TextRowTest : public testing::Test {
  protected:
    int heightOf(const QString& text) {
        row.setContent(text);
        return row.sizeHint().height();
    }

    TextRow row{{.font = monospacedFont(TextStyle::caption2), .width = 248, .maxLines = 2}};
    const int oneLine = heightOf(QStringLiteral("x"));
};

TEST_F(TextRowTest, aShortTextTakesOneLine) {
    row.setContent(QStringLiteral("ready"));
    EXPECT_EQ(row.shownLines(), QStringList{QStringLiteral("ready")});
    EXPECT_TRUE(row.toolTip().isEmpty());
}

TEST_F(TextRowTest, aLongTextIsCutInTheMiddleOfTwoLines) {
    const QString text = QStringLiteral("begin ") + QString(500, u'x') + QStringLiteral(" end");
    row.setContent(text);
    const QStringList lines = row.shownLines();
    ASSERT_EQ(lines.size(), 2);
    const QString shown = lines.join(QString());
    EXPECT_EQ(shown.count(u'\u2026'), 1);
    EXPECT_TRUE(shown.startsWith(QStringLiteral("begin ")));
    EXPECT_TRUE(shown.endsWith(QStringLiteral(" end")));
    EXPECT_GT(shown.size(), 50);
    EXPECT_NEAR(static_cast<double>(shown.indexOf(u'\u2026')),
                static_cast<double>(shown.size()) / 2, 1.5);
}

TEST_F(TextRowTest, theToolTipShowsTheWholeOfACutText) {
    row.setContent(QStringLiteral("<b>") + QString(500, u'x'));
    EXPECT_TRUE(row.toolTip().contains(QStringLiteral("&lt;b&gt;xxx")));
    row.setContent(QStringLiteral("short"));
    EXPECT_TRUE(row.toolTip().isEmpty());
}

TEST_F(TextRowTest, noTextTakesMoreThanTwoLines) {
    const QString word = QStringLiteral("\u0645\u0631\u062d\u0628\u0627 ");
    for (const QString& text :
         {QString(2000, u'\n'), QString(2000, u'\r'), QString(2000, QChar(0x2028)),
          QString(2000, QChar(0x2029)), QString(2000, u'\0'), QString(2000, u'\x1b'),
          QString(2000, u'\t'), QString(2000, QChar(0x202e)), QString(2000, QChar(0x0301)),
          QString(2000, QChar(0xd800)), QString(2000, QChar(0xfdfd)), word.repeated(300),
          QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467").repeated(200),
          QStringLiteral("<h1>x</h1><br>").repeated(100)}) {
        EXPECT_LE(heightOf(text), 2 * oneLine);
        EXPECT_LE(row.shownLines().size(), 2);
        EXPECT_EQ(row.sizeHint().width(), 248);
        EXPECT_FALSE(row.grab().isNull());
    }
}

TEST_F(TextRowTest, markupIsShownAsText) {
    row.setContent(QStringLiteral("<b>a</b> &amp; b"));
    EXPECT_EQ(row.shownLines(), QStringList{QStringLiteral("<b>a</b> &amp; b")});
}

TEST_F(TextRowTest, controlCharactersBecomeVisibleAndLineBreaksSpaces) {
    row.setContent(QStringLiteral("a\x1b[1mb\nc\rd"));
    EXPECT_EQ(row.shownLines(), QStringList{QStringLiteral("a\ufffd[1mb c d")});
}

TEST_F(TextRowTest, charactersAreNotSplitAtTheCut) {
    const QString letter = QStringLiteral("e\u0301");
    row.setContent(letter.repeated(300));
    const QString shown = row.shownLines().join(QString());
    EXPECT_EQ(shown.count(u'e'), shown.count(QChar(0x0301)));
    EXPECT_EQ(shown.count(u'\u2026'), 1);
}

TEST_F(TextRowTest, screenReadersGetTheWholeText) {
    const QString text(500, u'x');
    row.setContent(text);
    EXPECT_EQ(row.text(), text);
}

TEST(TextStyleTest, sizesKeepTheirOrder) {
    const auto size = [](TextStyle style) { return QFontInfo(textFont(style)).pointSizeF(); };
    EXPECT_GT(size(TextStyle::title2), size(TextStyle::headline));
    EXPECT_EQ(size(TextStyle::headline), size(TextStyle::body));
    EXPECT_GT(size(TextStyle::body), size(TextStyle::caption));
    EXPECT_GT(size(TextStyle::caption), size(TextStyle::caption2));
    EXPECT_EQ(textFont(TextStyle::headline).weight(), QFont::DemiBold);
    EXPECT_EQ(textFont(TextStyle::body).weight(), QFont::Normal);
    EXPECT_TRUE(QFontInfo(monospacedFont(TextStyle::caption)).fixedPitch());
    EXPECT_FALSE(QFontInfo(textFont(TextStyle::caption)).fixedPitch());
}

} // namespace

} // namespace kestrelnet
