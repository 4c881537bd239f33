// SPDX-License-Identifier: MIT
#include "tests/support/LogRecorder.h"

#include <QLoggingCategory>
#include <QString>

#include <mutex>

namespace kestrelnet {

namespace {

std::mutex mutex;
std::vector<std::string> recorded;

const char* name(QtMsgType type) {
    switch (type) {
    case QtDebugMsg:
        return "debug ";
    case QtCriticalMsg:
        return "error ";
    default:
        return "warning ";
    }
}

void record(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    const std::lock_guard lock(mutex);
    recorded.push_back(name(type) + std::string(context.category) + ": " + text.toStdString());
}

} // namespace

struct LogRecorder::Handler {
    QtMessageHandler previous = qInstallMessageHandler(record);
};

LogRecorder::LogRecorder(const std::string& rules) {
    {
        const std::lock_guard lock(mutex);
        recorded.clear();
    }
    handler_ = std::make_unique<Handler>();
    QLoggingCategory::setFilterRules(QString::fromStdString(rules));
}

LogRecorder::~LogRecorder() {
    QLoggingCategory::setFilterRules(QString());
    qInstallMessageHandler(handler_->previous);
}

std::vector<std::string> LogRecorder::messages() const {
    const std::lock_guard lock(mutex);
    return recorded;
}

} // namespace kestrelnet
