// SPDX-License-Identifier: MIT
#include "ui/settings/AboutSection.h"

#include "ui/settings/SettingsContent.h"
#include "ui/style/QtText.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/CommandText.h"
#include "ui/widgets/LinkButton.h"

namespace kestrelnet {

AboutSection::AboutSection(QWidget* parent) : FormSection(QStringLiteral("About"), parent) {
    const QFont body = textFont(TextStyle::body);
    version_ = addLabelled(*this, QStringLiteral("Version"), {.font = body});
    binary_ = addLabelled(*this, QStringLiteral("Binary"),
                          {.font = monospacedFont(TextStyle::body), .color = ColorRole::primary});
    noBinary_ =
        addLabelled(*this, QStringLiteral("Binary"), {.font = body, .color = ColorRole::red});
    installHintRow_ = &addCaption(*this, ColorRole::secondary,
                                  QStringLiteral("Install the client binary first:"));
    installCommand_ = new CommandText(ColorRole::orange, innerWidth);
    installCommandRow_ = &addRow(FormRow::Place::below);
    installCommandRow_->add(installCommand_);
    home_ = new LinkButton(TextStyle::body);
    homeRow_ = &addRow();
    homeRow_->add(home_);
    homeRow_->setOutset({LinkButton::outset.left(), 0, 0, 0});
    homeRow_->addStretch();
}

void AboutSection::apply(const SettingsContent& content) {
    version_.value->setContent(qtText(content.version));
    binary_.show(content.binary);
    noBinary_.show(content.binary ? std::nullopt : std::optional<std::string>("Not found"));
    installHintRow_->setVisible(content.installCommand.has_value());
    installCommandRow_->setVisible(content.installCommand.has_value());
    installCommand_->setText(qtText(content.installCommand.value_or("")));
    homeRow_->setVisible(content.home.has_value());
    if (content.home) {
        showLink(*home_, *content.home);
    }
}

} // namespace kestrelnet
