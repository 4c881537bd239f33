// SPDX-License-Identifier: MIT
#include "benchmarks/Controller.h"

#include "benchmarks/Figures.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QTimer>

namespace kestrelnet::benchmarks {

std::string besideThisProgram(const char* name) {
    const QDir folder(QCoreApplication::applicationDirPath());
    return folder.filePath(QString::fromUtf8(name)).toStdString();
}

Controller::Controller(const std::string& helper) {
    if (!root_.isValid()) {
        giveUp("no temporary folder could be created");
    }
    const std::string root = root_.path().toStdString();
    Platform platform = Platform::system();
    platform.paths.helper = helper;
    platform.paths.systemClient = helper;
    platform.paths.home = root;
    platform.paths.temporaryDirectory = root + '/';
    platform.defaults = std::make_shared<UserDefaults>(root + "/settings");
    mainQueue_ = platform.mainQueue;
    tunnel_ = std::make_shared<TunnelManager>(std::move(platform));
    tunnel_->apiKey = "dev_0123456789abcdef";
    if (!tunnel_->helperInstalled) {
        giveUp(helper + " is missing");
    }
    subscription_ = tunnel_->objectWillChange.subscribe([this] { noteChange(); });
}

void Controller::noteChange() {
    ++noticeCount_;
    if (!dirty_) {
        dirty_ = true;
        mainQueue_->async([this] {
            dirty_ = false;
            if (redraw_) {
                redraw_();
            }
        });
    }
}

void Controller::serveUntil(const std::function<bool()>& condition, std::chrono::seconds bound,
                            const std::string& failure) {
    QEventLoop loop;
    redraw_ = [&loop, &condition] {
        if (condition()) {
            loop.quit();
        }
    };
    QTimer end;
    QObject::connect(&end, &QTimer::timeout, &loop, [&failure] { giveUp(failure); });
    end.start(bound);
    if (!condition()) {
        loop.exec();
    }
    redraw_ = {};
}

} // namespace kestrelnet::benchmarks
