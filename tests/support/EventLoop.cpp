// SPDX-License-Identifier: MIT
#include "tests/support/EventLoop.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>

namespace kestrelnet {

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    bool holds = condition();
    if (holds) {
        return true;
    }
    QEventLoop loop;
    const QDeadlineTimer deadline(bound);
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        holds = condition();
        if (holds || deadline.hasExpired()) {
            loop.quit();
        }
    });
    look.start(std::chrono::milliseconds(2));
    loop.exec();
    return holds;
}

void runPostedEvents() {
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

} // namespace kestrelnet
