// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "platform/Dispatch.h"
#include "ui/settings/SettingsContent.h"
#include "ui/widgets/ContentUpdater.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

namespace kestrelnet {

class AboutSection;
class Alert;
class ConnectionSection;
class HelperSection;
class KeySection;
class StartupSection;

/// The content of the settings window: one section below the other, and the alerts for
/// uninstalling.
class SettingsView final : public QWidget {
  public:
    struct Context {
        TunnelManager& tunnel;
        std::shared_ptr<Queue> mainQueue;
        SettingsFacts facts;
        /// Ends the program at once.
        std::function<void()> terminate;
    };

    /// `state` is the state of the view that this one replaces.
    explicit SettingsView(Context context, SettingsViewState state = {}, QWidget* parent = nullptr);

    const SettingsViewState& state() const { return state_; }
    /// Shows the current state now, also while hidden.
    void refresh() { updater_.update(); }
    /// To be called when something may have changed that sends no notice, such as the client's
    /// file.
    void noteChange() { updater_.noteChange(); }
    /// Moves the keyboard focus to the first control.
    void focusKeyField();

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void addSections();
    void addUninstall();
    void apply(const SettingsContent& content);
    void presentAlerts(const SettingsContent& content);

    void uninstall();

    Context context_;
    SettingsViewState state_;
    KeySection* key_ = nullptr;
    ConnectionSection* connection_ = nullptr;
    StartupSection* startup_ = nullptr;
    HelperSection* helper_ = nullptr;
    AboutSection* about_ = nullptr;
    QPointer<Alert> confirm_;
    QPointer<Alert> done_;
    ContentUpdater<SettingsContent> updater_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
