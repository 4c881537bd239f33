// SPDX-License-Identifier: MIT
#include "ui/shell/KestrelnetApp.h"

#include "core/TunnelManager.h"
#include "platform/Bundle.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/shell/ApplicationIcon.h"
#include "ui/shell/DropWatch.h"
#include "ui/shell/HelperAlert.h"
#include "ui/shell/SetupLink.h"
#include "ui/shell/TrayIcon.h"
#include "ui/style/Theme.h"
#include "ui/widgets/Windows.h"

#include <QApplication>
#include <QIcon>

#include <utility>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

/// The delay before the settings window opens automatically.
constexpr auto firstLaunchDelay = 500ms;
/// The time that a disconnect has to stop the client before the program ends.
constexpr auto quitDelay = 500ms;

} // namespace

KestrelnetApp::KestrelnetApp(Outside outside)
    : outside_(std::move(outside)), tunnel_(std::make_shared<TunnelManager>(outside_.platform)),
      atStart_(outside_.cause, outside_.platform.clock->now()) {
    if (outside_.notify) {
        dropWatch_ = std::make_unique<DropWatch>(
            *tunnel_, outside_.platform.mainQueue,
            DropWatch::Actions{.tell = outside_.notify,
                               .withdraw = outside_.withdrawNotification,
                               .opened = [self = QPointer(this)] {
                                   if (self) {
                                       self->openPanel();
                                   }
                               }});
    }
}

KestrelnetApp::~KestrelnetApp() {
    delete settings_;
}

void KestrelnetApp::trayAppeared() {
    panelForm_ = Panel::Form::popup;
    trayIcon_.reset();
    trayIcon_ = std::make_unique<TrayIcon>(
        *tunnel_, outside_.platform.mainQueue,
        TrayIcon::Actions{.togglePanel = [this] { togglePanel(); },
                          .openPanel = [this] { openPanel(); },
                          .toggleTunnel = [this] { tunnel_->toggle(); },
                          .showSettings = [this] { showSettingsWindow(); },
                          .quit = [this] { quit(); }});
    if (panel_) {
        panel_->endExplanation();
    }
    atStart_.trayAppeared();
    openPanelIfDue();
}

void KestrelnetApp::trayAbsent() {
    atStart_.trayAbsent();
    openPanelIfDue();
}

void KestrelnetApp::sessionCompleted() {
    atStart_.sessionCompleted(outside_.platform.clock->now());
    openPanelIfDue();
}

void KestrelnetApp::openPanelIfDue() {
    const auto time = atStart_.opensAt();
    if (!time) {
        return;
    }
    const auto now = outside_.platform.clock->now();
    if (*time <= now) {
        openPanel();
    } else {
        after(*time - now, &KestrelnetApp::openPanelIfDue);
    }
}

void KestrelnetApp::openPanel() {
    panel().open();
}

void KestrelnetApp::togglePanel() {
    panel().toggle();
}

/// The panel in the form that the desktop needs. A visible panel keeps its form until it closes.
Panel& KestrelnetApp::panel() {
    if (panel_ && (panel_->form() == panelForm_ || panel_->isVisible())) {
        return *panel_;
    }
    prepareWindows();
    panel_ = std::make_unique<Panel>(
        panelForm_,
        Panel::Context{
            .tunnel = *tunnel_,
            .mainQueue = outside_.platform.mainQueue,
            .clock = outside_.platform.clock,
            .actions = {.toggle = [this] { tunnel_->toggle(); },
                        .showSettings = [this] { showSettingsWindow(); },
                        .quit = [this] { quit(); }},
            .appeared = [this] { panelAppeared(); },
            .iconArea = [this] { return trayIcon_ ? trayIcon_->icon().geometry() : QRect(); },
            .closing = outside_.closing});
    if (panelForm_ == Panel::Form::window && !std::exchange(hasExplainedWindow_, true)) {
        panel_->explainWindow();
    }
    return *panel_;
}

void KestrelnetApp::panelAppeared() {
    atStart_.panelOpened();
    if (std::exchange(hasCheckedFirstLaunch_, true)) {
        return;
    }
    if (!tunnel_->isConfigured()) {
        after(firstLaunchDelay, &KestrelnetApp::showSettingsWindow);
    } else if (tunnel_->autoConnect() && tunnel_->helperInstalled) {
        tunnel_->connect();
    } else if (!tunnel_->helperInstalled) {
        bringToFront(*new HelperAlert(panel_.get(), [this] { installHelper(); }));
    }
}

void KestrelnetApp::installHelper() {
    tunnel_->installHelper([self = QPointer(this)](bool isInstalled) {
        // Read again, because the user may have changed it while the prompt was open.
        if (self && isInstalled && self->tunnel_->autoConnect()) {
            self->tunnel_->connect();
        }
    });
}

void KestrelnetApp::showSettingsWindow() {
    if (!settings_) {
        prepareWindows();
        settings_ = new SettingsWindow(
            {.tunnel = *tunnel_,
             .mainQueue = outside_.platform.mainQueue,
             .facts = {.version = bundle::shortVersionString(outside_.platform.paths.bundle),
                       .operatorValues = tunnel_->operatorValues()},
             .terminate = [this] { terminate(); }});
    }
    bringToFront(*settings_);
}

void KestrelnetApp::handleURL(std::string_view url) {
    if (auto key = setupKey(url)) {
        tunnel_->apiKey = std::move(*key);
        showSettingsWindow();
        atStart_.personCame(outside_.platform.clock->now());
        openPanelIfDue();
    }
}

void KestrelnetApp::quit() {
    if (std::exchange(isLeaving_, true)) {
        return;
    }
    tunnel_->disconnect();
    after(quitDelay, &KestrelnetApp::terminate);
}

void KestrelnetApp::prepareWindows() {
    if (!theme_) {
        theme_ = std::make_unique<Theme>();
        QApplication::setWindowIcon(applicationIcon());
    }
}

void KestrelnetApp::after(Seconds delay, void (KestrelnetApp::*action)()) {
    outside_.platform.mainQueue->asyncAfter(delay, [self = QPointer(this), action] {
        if (self) {
            (self->*action)();
        }
    });
}

} // namespace kestrelnet
