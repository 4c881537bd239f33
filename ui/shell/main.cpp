// SPDX-License-Identifier: MIT
// The entry of the application.
#include "core/Platform.h"
#include "core/Product.h"
#include "platform/ApplicationInstance.h"
#include "platform/EndRequests.h"
#include "platform/Notifier.h"
#include "platform/ProgramStart.h"
#include "platform/SessionStart.h"
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
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace kestrelnet;

constexpr int exitUsage = 2;

void complain(const char* sentence) {
    std::fprintf(stderr, "kestrelnet: %s\n", sentence);
}

/// Whether `message` is what the toolkit's plug-in for X11 or Wayland says without a display.
bool saysDisplayIsMissing(const QString& message) {
    return message.contains(QLatin1StringView("could not connect to display")) ||
           message.contains(QLatin1StringView("Failed to create wl_display"));
}

/// Prints the toolkit's messages while it starts. Its last message says that it cannot start, and
/// an earlier one why. The default handler would then abort with a core dump.
void reportStartMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    static bool isDisplayMissing = false;
    if (type != QtFatalMsg) {
        isDisplayMissing = isDisplayMissing || saysDisplayIsMissing(message);
        std::fprintf(stderr, "%s\n",
                     qFormatLogMessage(type, context, message).toLocal8Bit().constData());
        return;
    }
    complain(message.trimmed().toLocal8Bit().constData());
    if (isDisplayMissing) {
        complain(
            "no graphical display can be reached. Start the program inside a desktop session.");
    }
    std::_Exit(EXIT_FAILURE);
}

/// Tries until this process is the instance, or the running instance has taken the links, or the
/// user decides not to end an instance that does not respond.
ApplicationInstance::Acquisition acquire(ApplicationInstance& instance,
                                         const std::vector<std::string>& links) {
    auto acquisition = instance.acquire(links);
    while (acquisition == ApplicationInstance::Acquisition::unresponsive) {
        complain("Kestrelnet is already running but does not respond.");
        const Theme theme;
        if (!ReplaceAlert::ask() || !instance.endOther()) {
            break;
        }
        acquisition = instance.acquire(links);
    }
    return acquisition;
}

int run(QApplication& application, const std::vector<std::string>& links, StartCause cause) {
    ApplicationInstance instance(product::applicationIdentifier, KestrelnetApp::actionNames());
    const auto acquisition = acquire(instance, links);
    if (acquisition == ApplicationInstance::Acquisition::passedOn) {
        return EXIT_SUCCESS;
    }
    if (acquisition == ApplicationInstance::Acquisition::unresponsive) {
        return EXIT_FAILURE;
    }
    Notifier notifier({.name = QCoreApplication::applicationName().toStdString(),
                       .identifier = product::applicationIdentifier});
    KestrelnetApp shell({.platform = Platform::system(),
                         .terminate = [] { QCoreApplication::exit(); },
                         .closing = acquisition == ApplicationInstance::Acquisition::acquired
                                        ? Panel::Closing::hides
                                        : Panel::Closing::minimizes,
                         .cause = cause,
                         .notify = [&notifier](const Notification& it) { notifier.show(it); },
                         .withdrawNotification = [&notifier] { notifier.withdraw(); }});
    const EndRequests endRequests([&shell] { shell.quit(); });
    // Requests wait until it is known whether there is a tray, because the panel depends on it.
    const auto acceptRequests = [&instance, &shell] {
        instance.setHandlers({.activate = [&shell] { shell.openPanel(); },
                              .open = [&shell](const std::string& url) { shell.handleURL(url); },
                              .act = [&shell](const std::string& action) { shell.act(action); }});
    };
    std::optional<SessionStart> sessionStart;
    const TrayHost trayHost({.appeared =
                                 [&] {
                                     shell.trayAppeared();
                                     acceptRequests();
                                 },
                             .absent =
                                 [&] {
                                     shell.trayAbsent();
                                     acceptRequests();
                                     sessionStart.emplace([&shell] { shell.sessionCompleted(); });
                                 }});
    return application.exec();
}

} // namespace

int main(int count, char** arguments) {
    // Writing to a pipe without a reader must not end the program.
    std::signal(SIGPIPE, SIG_IGN);

    // The desktop passes links as arguments. There are no other arguments.
    const std::vector<std::string> links(arguments + (count > 0 ? 1 : 0), arguments + count);
    for (const std::string_view link : links) {
        if (!link.starts_with("kestrelnet:")) {
            complain("the only arguments are links that begin with \"kestrelnet:\".");
            return exitUsage;
        }
    }

    const bool isByPerson = startedByPerson(product::quietStartVariable);
    const StartCause cause = !isByPerson     ? StartCause::session
                             : links.empty() ? StartCause::person
                                             : StartCause::link;

    // Keeps the desktop's theme plug-in out, of which the windows would draw nothing. GTK's takes
    // longer to load than the rest of the program. Theme reads the user's settings itself.
    QApplication::setDesktopSettingsAware(false);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setQuitOnLastWindowClosed(false);
    // Also used as the display name. A display name set separately would be added to each window
    // title.
    QApplication::setApplicationName(QStringLiteral("Kestrelnet"));
    QApplication::setDesktopFileName(QString::fromLatin1(product::applicationIdentifier));
    const QtMessageHandler defaultHandler = qInstallMessageHandler(reportStartMessage);
    int programNameOnly = 1;
    QApplication application(programNameOnly, arguments);
    qInstallMessageHandler(defaultHandler);
    return run(application, links, cause);
}
