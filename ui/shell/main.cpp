// SPDX-License-Identifier: MIT
// The entry of the application.
#include "platform/ApplicationInstance.h"
#include "platform/EndRequests.h"
#include "platform/TrayHost.h"
#include "ui/shell/KestrelnetApp.h"
#include "ui/shell/ReplaceAlert.h"
#include "ui/style/Theme.h"

#include <QApplication>
#include <QString>
#include <QtGlobal>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace kestrelnet;

constexpr auto applicationName = "com.kestrelnetvpn.app";
constexpr int exitUsage = 2;

void complain(const char* sentence) {
    std::fprintf(stderr, "kestrelnet: %s\n", sentence);
}

/// The toolkit aborts when there is no display. A sentence serves better than a core dump.
void explainFatalMessage(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtFatalMsg) {
        complain("no graphical display can be reached; it is to be started inside a desktop "
                 "session.");
        std::_Exit(EXIT_FAILURE);
    }
    std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
}

/// Until this process is the instance, or another one has taken over what it was to do, or the user
/// does not want the one that hangs to be ended.
ApplicationInstance::Acquisition acquire(ApplicationInstance& instance,
                                         const std::vector<std::string>& links) {
    auto acquisition = instance.acquire(links);
    while (acquisition == ApplicationInstance::Acquisition::unresponsive) {
        complain("it is running already, but does not answer.");
        const Theme theme;
        if (!ReplaceAlert::ask() || !instance.endOther()) {
            break;
        }
        acquisition = instance.acquire(links);
    }
    return acquisition;
}

int run(QApplication& application, const std::vector<std::string>& links) {
    ApplicationInstance instance(applicationName);
    const auto acquisition = acquire(instance, links);
    if (acquisition == ApplicationInstance::Acquisition::passedOn) {
        return EXIT_SUCCESS;
    }
    if (acquisition == ApplicationInstance::Acquisition::unresponsive) {
        return EXIT_FAILURE;
    }
    KestrelnetApp shell({.platform = Platform::system(),
                         .terminate = [] { QCoreApplication::exit(); },
                         .closing = acquisition == ApplicationInstance::Acquisition::acquired
                                        ? Panel::Closing::hides
                                        : Panel::Closing::minimizes});
    const EndRequests endRequests([&shell] { shell.quit(); });
    instance.setHandlers({.activate = [&shell] { shell.openPanel(); },
                          .open = [&shell](const std::string& url) { shell.handleURL(url); }});
    const TrayHost trayHost({.appeared = [&shell] { shell.trayAppeared(); },
                             .absent = [&shell] { shell.trayAbsent(); }});
    return application.exec();
}

} // namespace

int main(int count, char** arguments) {
    // A pipe whose reader has gone must not end the program.
    std::signal(SIGPIPE, SIG_IGN);

    // Links are handed over by the desktop; there are no other arguments.
    const std::vector<std::string> links(arguments + (count > 0 ? 1 : 0), arguments + count);
    for (const std::string_view link : links) {
        if (!link.starts_with("kestrelnet:")) {
            complain("it takes no arguments.");
            return exitUsage;
        }
    }

    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setQuitOnLastWindowClosed(false);
    // Serves as the display name, too. Set apart, that one would be added to each window's title.
    QApplication::setApplicationName(QStringLiteral("Kestrelnet"));
    QApplication::setDesktopFileName(QString::fromLatin1(applicationName));
    const QtMessageHandler ordinary = qInstallMessageHandler(explainFatalMessage);
    int programNameOnly = 1;
    QApplication application(programNameOnly, arguments);
    qInstallMessageHandler(ordinary);
    return run(application, links);
}
