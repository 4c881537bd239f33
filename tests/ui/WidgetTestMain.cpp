// SPDX-License-Identifier: MIT
// The entry of test programs that show widgets. They use no screen and no session bus.
#include <QApplication>

#include <gtest/gtest.h>

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setQuitOnLastWindowClosed(false);
    const QApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
