// SPDX-License-Identifier: MIT
#include "ui/widgets/Buttons.h"

#include "tests/support/EventLoop.h"

#include <QApplication>
#include <QImage>
#include <QVBoxLayout>
#include <QWidget>
#include <QWindow>
#include <QtTest/QTest>

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

enum class Kind { filled, borderless };

/// A window with a button of this kind below another button.
class FocusRingTest : public testing::TestWithParam<Kind> {
  protected:
    FocusRingTest() {
        auto* const column = new QVBoxLayout(&window);
        column->addWidget(&other);
        column->addWidget(button);
    }
    static Button* make() {
        if (GetParam() == Kind::borderless) {
            return new BorderlessButton(QStringLiteral("Quit"), ColorRole::secondary);
        }
        auto* const filled = new FilledButton;
        filled->setContent("play.fill", QStringLiteral("Connect"), ColorRole::green);
        return filled;
    }

    void SetUp() override {
        window.show();
        window.activateWindow();
        ASSERT_TRUE(waitUntil([this] { return window.isActiveWindow(); }));
        other.setFocus(Qt::OtherFocusReason);
        plain = picture();
    }
    QImage picture() const { return button->grab().toImage(); }
    bool hasRing() const { return picture() != plain; }

    QWidget window;
    QPushButton other;
    Button* button = make();
    QImage plain;
};

TEST_P(FocusRingTest, isShownWhenTheKeyboardMovesTheFocusToTheButton) {
    QTest::keyClick(&other, Qt::Key_Tab);
    ASSERT_TRUE(button->hasFocus());
    EXPECT_TRUE(hasRing());
}

TEST_P(FocusRingTest, isNotShownWhenTheProgramSetsTheFocus) {
    button->setFocus(Qt::OtherFocusReason);
    ASSERT_TRUE(button->hasFocus());
    EXPECT_FALSE(hasRing());
}

TEST_P(FocusRingTest, isShownAtTheFirstKeyPress) {
    button->setFocus(Qt::OtherFocusReason);
    QTest::keyClick(button, Qt::Key_Shift);
    EXPECT_TRUE(hasRing());
}

TEST_P(FocusRingTest, disappearsAtAClick) {
    QTest::keyClick(&other, Qt::Key_Tab);
    QTest::mouseClick(button, Qt::LeftButton);
    ASSERT_TRUE(button->hasFocus());
    EXPECT_FALSE(hasRing());
}

TEST_P(FocusRingTest, isShownAgainWhenTheWindowBecomesActiveAgain) {
    QTest::keyClick(&other, Qt::Key_Tab);
    // The toolkit's widgets do not know it, as they do not know another program's window.
    QWindow elsewhere;
    elsewhere.show();
    elsewhere.requestActivate();
    ASSERT_TRUE(waitUntil([this] { return !window.isActiveWindow(); }));
    EXPECT_FALSE(hasRing());
    window.activateWindow();
    ASSERT_TRUE(waitUntil([this] { return button->hasFocus(); }));
    EXPECT_TRUE(hasRing());
}

TEST_P(FocusRingTest, isResetWhenTheWindowCloses) {
    QTest::keyClick(&other, Qt::Key_Tab);
    window.close();
    window.show();
    window.activateWindow();
    ASSERT_TRUE(waitUntil([this] { return button->hasFocus(); }));
    EXPECT_FALSE(hasRing());
}

INSTANTIATE_TEST_SUITE_P(Each, FocusRingTest, testing::Values(Kind::filled, Kind::borderless));

} // namespace

} // namespace kestrelnet
