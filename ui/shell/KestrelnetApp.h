// SPDX-License-Identifier: MIT
#pragma once

#include "core/Platform.h"
#include "ui/panel/Panel.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <string_view>

namespace kestrelnet {

class SettingsWindow;
class Theme;
class TrayIcon;
class TunnelManager;

/// The application's shell: owns the one controller, and the icon and windows that show it. Windows
/// are made when they are first used.
class KestrelnetApp final : public QObject {
  public:
    struct Outside {
        Platform platform;
        /// Ends the program.
        std::function<void()> terminate;
        /// For the case that there is no tray.
        Panel::Closing closing = Panel::Closing::hides;
    };

    explicit KestrelnetApp(Outside outside);
    KestrelnetApp(const KestrelnetApp&) = delete;
    KestrelnetApp& operator=(const KestrelnetApp&) = delete;
    ~KestrelnetApp() override;

    /// The desktop has a tray: puts the icon there, anew if there was one. From then on the panel
    /// belongs to the icon.
    void trayAppeared();
    /// The desktop has no tray so far: the panel opens as an ordinary window.
    void trayAbsent();

    void openPanel();
    void showSettingsWindow();
    /// Takes the device key out of a setup link; drops any other link without a word.
    void handleURL(std::string_view url);
    /// Disconnects, and ends the program half a second later. Asked again, it changes nothing.
    void quit();

    TunnelManager& tunnel() { return *tunnel_; }

  private:
    void togglePanel();
    Panel& panel();
    void panelAppeared();
    void installHelper();
    void prepareWindows();
    void after(Seconds delay, void (KestrelnetApp::*action)());
    void terminate() { outside_.terminate(); }

    Outside outside_;
    std::shared_ptr<TunnelManager> tunnel_;
    std::unique_ptr<Theme> theme_;
    Panel::Form panelForm_ = Panel::Form::window;
    std::unique_ptr<Panel> panel_;
    /// Goes away by itself when it is closed.
    QPointer<SettingsWindow> settings_;
    std::unique_ptr<TrayIcon> trayIcon_;
    bool hasCheckedFirstLaunch_ = false;
    bool hasExplainedWindow_ = false;
    bool isLeaving_ = false;
};

} // namespace kestrelnet
