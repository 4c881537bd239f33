// SPDX-License-Identifier: MIT
#include "ui/settings/HelperSection.h"

#include "ui/settings/SettingsContent.h"
#include "ui/style/QtText.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/Buttons.h"

#include <utility>

namespace kestrelnet {

HelperSection::HelperSection(std::function<void()> install, QWidget* parent)
    : FormSection(QStringLiteral("Helper"), parent) {
    helper_ = addLabelled(*this, QStringLiteral("Privileged helper"),
                          {.font = textFont(TextStyle::body), .hasCircle = true});
    addCaption(*this, ColorRole::secondary,
               QStringLiteral("The helper allows connecting without a password prompt each time."));
    auto* const button =
        new BorderedButton(QStringLiteral("Install Helper..."), ColorRole::primary);
    installRow_ = &addRow();
    installRow_->add(button);
    installRow_->addStretch();
    connect(button, &QPushButton::clicked, this, std::move(install));
}

void HelperSection::apply(const SettingsContent& content) {
    helper_.value->setCircle(content.helperColor);
    helper_.value->setContent(qtText(content.helperText));
    installRow_->setVisible(content.canInstallHelper);
}

} // namespace kestrelnet
