// SPDX-License-Identifier: MIT
#pragma once

#include "core/Platform.h"
#include "platform/Notifier.h"
#include "ui/panel/Panel.h"
#include "ui/shell/PanelAtStart.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

class DropWatch;
class SettingsWindow;
class Theme;
class TrayIcon;
class TunnelManager;

/// The application's shell: owns the only controller, the tray icon and the windows. Windows are
/// created at first use. Main thread only.
class KestrelnetApp final : public QObject {
  public:
    struct Outside {
        Platform platform;
        /// Ends the program.
        std::function<void()> terminate;
        /// What closing the panel does on a desktop without a tray.
        Panel::Closing closing = Panel::Closing::hides;
        StartCause cause = StartCause::session;
        /// Shows a notification of the desktop, and closes it. Both may be empty.
        std::function<void(const Notification&)> notify = {};
        std::function<void()> withdrawNotification = {};
    };

    explicit KestrelnetApp(Outside outside);
    KestrelnetApp(const KestrelnetApp&) = delete;
    KestrelnetApp& operator=(const KestrelnetApp&) = delete;
    ~KestrelnetApp() override;

    /// The desktop has a tray: puts a new icon there, and replaces an earlier one. From then on the
    /// panel is a popup of the icon. Opens the panel if a person has started the program.
    void trayAppeared();
    /// The desktop has no tray yet: opens the panel as an ordinary window, at login after some
    /// time.
    void trayAbsent();
    /// The desktop session is complete, so a tray is not to be expected much longer.
    void sessionCompleted();

    void openPanel();
    void showSettingsWindow();
    /// Stores the device key of a setup link and opens the settings. Ignores any other link.
    void handleURL(std::string_view url);
    /// Disconnects, and ends the program half a second later. Further calls do nothing.
    void quit();

    /// The names of the actions that launchers, keyboard shortcuts and scripts can call.
    static std::vector<std::string> actionNames();
    /// Does what the panel's button would do in the present state, and nothing while the program
    /// ends. Without a device key, there is nothing to connect with: opens the panel instead.
    void act(std::string_view action);

    TunnelManager& tunnel() { return *tunnel_; }

  private:
    struct Action;

    void togglePanel();
    Panel& panel();
    void panelAppeared();
    void openPanelIfDue();
    void installHelper();
    void prepareWindows();
    void after(Seconds delay, void (KestrelnetApp::*action)());
    void terminate() { outside_.terminate(); }
    void pressConnect();
    void pressDisconnect();
    void pressToggle();
    void pressQuit();
    bool offersConnect() const;

    Outside outside_;
    std::shared_ptr<TunnelManager> tunnel_;
    std::unique_ptr<DropWatch> dropWatch_;
    PanelAtStart atStart_;
    std::unique_ptr<Theme> theme_;
    Panel::Form panelForm_ = Panel::Form::window;
    std::unique_ptr<Panel> panel_;
    /// Deletes itself when it is closed.
    QPointer<SettingsWindow> settings_;
    std::unique_ptr<TrayIcon> trayIcon_;
    bool hasCheckedFirstLaunch_ = false;
    bool hasExplainedWindow_ = false;
    bool isLeaving_ = false;
};

} // namespace kestrelnet
