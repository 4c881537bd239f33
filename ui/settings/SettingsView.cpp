// SPDX-License-Identifier: MIT
#include "ui/settings/SettingsView.h"

#include "core/TunnelManager.h"
#include "ui/settings/AboutSection.h"
#include "ui/settings/ConnectionSection.h"
#include "ui/settings/HelperSection.h"
#include "ui/settings/KeySection.h"
#include "ui/settings/StartupSection.h"
#include "ui/settings/UninstallAlerts.h"
#include "ui/widgets/Buttons.h"

#include <QVBoxLayout>

#include <initializer_list>
#include <utility>

namespace kestrelnet {

namespace {

constexpr int sectionSpacing = 22;

} // namespace

SettingsView::SettingsView(Context context, SettingsViewState state, QWidget* parent)
    : QWidget(parent), context_(std::move(context)), state_(std::move(state)),
      updater_(
          context_.mainQueue,
          {.content = [this] { return settingsContent(context_.tunnel, state_, context_.facts); },
           .apply = [this](const SettingsContent& content) { apply(content); },
           .isVisible = [this] { return isVisible(); }}),
      subscription_(context_.tunnel.objectWillChange.subscribe([this] { updater_.noteChange(); })) {
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(sectionSpacing);
    addSections();
    addUninstall();
}

void SettingsView::addSections() {
    TunnelManager& tunnel = context_.tunnel;
    key_ = new KeySection(state_.editingKey, settingsContent(tunnel, state_, context_.facts).portal,
                          {.edit =
                               [this](std::string text) {
                                   state_.editingKey = std::move(text);
                                   updater_.updateChanged();
                               },
                           .showOrHide =
                               [this] {
                                   state_.showKey = !state_.showKey;
                                   updater_.updateChanged();
                               },
                           .save = [this] { context_.tunnel.apiKey = state_.editingKey; }},
                          this);
    connection_ = new ConnectionSection([&tunnel] { tunnel.toggle(); }, this);
    // A switch shows the stored value in the end, which may differ from the value chosen. So the
    // next update must set the switches even if the content is the same.
    startup_ = new StartupSection({.setStartAtLogin =
                                       [this](bool isOn) {
                                           updater_.forgetShown();
                                           context_.tunnel.setStartAtLogin(isOn);
                                       },
                                   .setAutoConnect =
                                       [this](bool isOn) {
                                           updater_.forgetShown();
                                           context_.tunnel.setAutoConnect(isOn);
                                       }},
                                  this);
    helper_ = new HelperSection([&tunnel] { tunnel.installHelper([](bool) {}); }, this);
    about_ = new AboutSection(this);
    for (QWidget* const section :
         std::initializer_list<QWidget*>{key_, connection_, startup_, helper_, about_}) {
        layout()->addWidget(section);
    }
}

void SettingsView::addUninstall() {
    auto* const section = new FormSection(QString(), this);
    auto* const button =
        new BorderedButton(QStringLiteral("Uninstall Kestrelnet..."), ColorRole::red);
    FormRow& row = section->addRow();
    row.add(button);
    row.addStretch();
    layout()->addWidget(section);
    connect(button, &QPushButton::clicked, this, [this] {
        state_.showUninstallConfirm = true;
        updater_.updateChanged();
    });
}

void SettingsView::uninstall() {
    context_.tunnel.uninstall([view = QPointer(this), terminate = context_.terminate] {
        if (view) {
            view->state_.showUninstallDone = true;
            view->updater_.updateChanged();
        } else {
            // The window was closed meanwhile. The user still needs to know the result.
            (new UninstallDone(nullptr, terminate))->show();
        }
    });
}

void SettingsView::apply(const SettingsContent& content) {
    key_->apply(content);
    connection_->apply(content);
    startup_->apply(content);
    helper_->apply(content);
    about_->apply(content);
    presentAlerts(content);
}

void SettingsView::presentAlerts(const SettingsContent& content) {
    // The alerts are destroyed with the view, because their buttons use it. A view that replaces
    // this one opens them again.
    const auto present = [this](QPointer<Alert>& alert, bool isWanted,
                                bool SettingsViewState::*flag, auto make) {
        if (!isWanted || alert) {
            return;
        }
        alert = make();
        // Sent for every way to dismiss the alert.
        connect(alert, &QDialog::finished, this, [this, flag] {
            state_.*flag = false;
            noteChange();
        });
        alert->show();
    };
    present(confirm_, content.showsUninstallConfirm, &SettingsViewState::showUninstallConfirm,
            [this] { return new UninstallConfirm(this, [this] { uninstall(); }); });
    present(done_, content.showsUninstallDone, &SettingsViewState::showUninstallDone,
            [this] { return new UninstallDone(this, context_.terminate); });
}

void SettingsView::focusKeyField() {
    key_->focusField();
}

void SettingsView::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

} // namespace kestrelnet
