// SPDX-License-Identifier: MIT
#include "ui/settings/ConnectionSection.h"

#include "ui/settings/SettingsContent.h"
#include "ui/style/QtText.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/Buttons.h"

#include <utility>

namespace kestrelnet {

ConnectionSection::ConnectionSection(std::function<void()> toggle, QWidget* parent)
    : FormSection(QStringLiteral("Connection"), parent) {
    const QFont body = textFont(TextStyle::body);
    status_ = addLabelled(*this, QStringLiteral("Status"), {.font = body, .hasCircle = true});
    exitIP_ = addLabelled(*this, QStringLiteral("Exit IP"), {.font = body});
    server_ = addLabelled(*this, QStringLiteral("Server"), {.font = body});
    toggle_ = new FilledButton;
    toggleRow_ = &addRow();
    toggleRow_->add(toggle_);
    toggleRow_->addStretch();
    lastLogRow_ = &addRow();
    lastLog_ = addText(*lastLogRow_, monospacedFont(TextStyle::caption2), ColorRole::secondary, 3);
    connect(toggle_, &QPushButton::clicked, this, std::move(toggle));
}

void ConnectionSection::apply(const SettingsContent& content) {
    status_.value->setCircle(content.statusColor);
    status_.value->setContent(qtText(content.statusText));
    exitIP_.show(content.exitIP);
    server_.show(content.server);
    toggleRow_->setVisible(content.connectButton.has_value());
    if (const auto& button = content.connectButton) {
        toggle_->setContent(button->symbol, qtText(button->label), button->tint);
    }
    lastLogRow_->setVisible(content.lastLog.has_value());
    lastLog_->setContent(qtText(content.lastLog.value_or("")));
}

} // namespace kestrelnet
