// SPDX-License-Identifier: MIT
// The reference for start time and memory: a Qt program that only shows a tray icon.

#include <QApplication>
#include <QIcon>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    QPixmap picture(22, 22);
    picture.fill(Qt::black);
    QSystemTrayIcon icon{QIcon(picture)};
    icon.show();
    return QApplication::exec();
}
