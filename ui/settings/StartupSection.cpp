// SPDX-License-Identifier: MIT
#include "ui/settings/StartupSection.h"

#include "ui/settings/FormParts.h"
#include "ui/settings/SettingsContent.h"
#include "ui/widgets/Switch.h"

#include <QSignalBlocker>

#include <utility>

namespace kestrelnet {

StartupSection::StartupSection(Actions actions, QWidget* parent)
    : FormSection(QStringLiteral("Startup"), parent) {
    startAtLogin_ = new Switch(QStringLiteral("Start at login"));
    autoConnect_ = new Switch(QStringLiteral("Connect automatically"));
    for (Switch* const each : {startAtLogin_, autoConnect_}) {
        FormRow& row = addRow();
        row.add(each);
        row.setOutset({0, 0, Switch::outset, 0});
    }
    helperNeededRow_ = &addCaption(
        *this, ColorRole::orange,
        QStringLiteral("Install the helper first to enable auto-connect (no password prompt)"));
    // Not `clicked`: assistive programs flip a switch without a click.
    connect(startAtLogin_, &Switch::toggled, this, std::move(actions.setStartAtLogin));
    connect(autoConnect_, &Switch::toggled, this, std::move(actions.setAutoConnect));
}

void StartupSection::apply(const SettingsContent& content) {
    const QSignalBlocker startBlocker(startAtLogin_);
    const QSignalBlocker connectBlocker(autoConnect_);
    startAtLogin_->setChecked(content.startAtLogin);
    autoConnect_->setChecked(content.autoConnect);
    autoConnect_->setEnabled(content.canChangeAutoConnect);
    helperNeededRow_->setVisible(content.needsHelperForAutoConnect);
}

} // namespace kestrelnet
