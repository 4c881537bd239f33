// SPDX-License-Identifier: MIT
#pragma once

#include "tests/ui/WidgetTest.h"
#include "ui/shell/KestrelnetApp.h"

#include <QApplication>

#include <memory>
#include <string>

namespace kestrelnet {

/// The application on a test platform, with the settings of a test controller.
class KestrelnetAppTest : public WidgetTest {
  protected:
    /// The first visible top-level window of type `Window`, or null.
    template <typename Window>
    static Window* visible() {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* const window = dynamic_cast<Window*>(widget);
            if (window != nullptr && window->isVisible()) {
                return window;
            }
        }
        return nullptr;
    }

    /// Starts the application with the present settings.
    void start(StartCause cause = StartCause::session) {
        tunnel.reset();
        app = std::make_unique<KestrelnetApp>(KestrelnetApp::Outside{
            .platform = world.platform, .terminate = [this] { ++terminations; }, .cause = cause});
    }
    void startWithTray(StartCause cause = StartCause::session) {
        start(cause);
        app->trayAppeared();
    }
    void closePanel() { visible<Panel>()->close(); }
    const std::string& lastLog() const { return app->tunnel().lastLog; }
    bool hasTriedToConnect() const { return lastLog().starts_with("kestrelnet-client not found"); }

    int terminations = 0;
    std::unique_ptr<KestrelnetApp> app;
};

} // namespace kestrelnet
