// SPDX-License-Identifier: MIT
#include "ui/settings/KeySection.h"

#include "ui/settings/FormParts.h"
#include "ui/settings/SettingsContent.h"
#include "ui/style/QtText.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/Buttons.h"
#include "ui/widgets/LinkButton.h"
#include "ui/widgets/TextField.h"

#include <QFontMetrics>

#include <utility>

namespace kestrelnet {

KeySection::KeySection(const std::string& editingKey, const Link& portal, Actions actions,
                       QWidget* parent)
    : FormSection(QStringLiteral("Device API Key"), parent), actions_(std::move(actions)) {
    addField(editingKey);
    addSaveButton();
    addPortal(portal);
    connect(key_, &QLineEdit::textChanged, this,
            [this](const QString& text) { actions_.edit(text.toStdString()); });
    connect(key_, &QLineEdit::returnPressed, save_, &QPushButton::click);
    connect(save_, &QPushButton::clicked, this, [this] { actions_.save(); });
    connect(showKey_, &QPushButton::clicked, this, [this] { actions_.showOrHide(); });
}

void KeySection::addField(const std::string& editingKey) {
    key_ = new TextField;
    key_->setText(qtText(editingKey));
    key_->setPlaceholderText(QStringLiteral("dev_..."));
    key_->setAccessibleName(QStringLiteral("Device API Key"));
    key_->setInputMethodHints(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText |
                              Qt::ImhNoAutoUppercase);
    showKey_ = new BorderlessButton(QString(), ColorRole::accent);
    FormRow& row = addRow();
    row.add(key_);
    row.add(showKey_);
    row.setOutset({0, 0, BorderlessButton::outset.right(), 0});
}

void KeySection::addSaveButton() {
    save_ = new FilledButton;
    save_->setContent({}, QStringLiteral("Save"), ColorRole::accent);
    FormRow& row = addRow(FormRow::Place::below);
    row.add(save_);
    const QFont font = textFont(TextStyle::body);
    const int symbolSide = QFontMetrics(font).height();
    keySaved_ = addHugging(row,
                           {.font = font,
                            .color = ColorRole::secondary,
                            .width = innerWidth - save_->sizeHint().width(),
                            .markColumn = symbolSide,
                            .symbolSide = symbolSide},
                           QStringLiteral("Key saved"));
    keySaved_->setSymbol("checkmark.circle.fill", ColorRole::green);
    row.addStretch();
}

void KeySection::addPortal(const Link& portal) {
    FormRow& hint = addRow();
    const auto* const text = addHugging(
        hint,
        {.font = textFont(TextStyle::caption), .color = ColorRole::secondary, .width = innerWidth},
        QStringLiteral("Get your key from "));
    auto* const link = new LinkButton(TextStyle::caption);
    showLink(*link, portal);
    const bool isOneLine = text->sizeHint().width() + link->sizeHint().width() <= innerWidth;
    FormRow& row = isOneLine ? hint : addRow(FormRow::Place::below);
    row.setSpacing(0);
    row.add(link);
    row.addStretch();
    if (!isOneLine) {
        row.setOutset({LinkButton::outset.left(), 0, 0, 0});
    }
}

void KeySection::apply(const SettingsContent& content) {
    key_->setEchoMode(content.masksKey ? QLineEdit::Password : QLineEdit::Normal);
    key_->setFont(content.masksKey ? textFont(TextStyle::body) : monospacedFont(TextStyle::body));
    showKey_->setText(qtText(content.showKeyLabel));
    save_->setEnabled(content.canSave);
    keySaved_->setVisible(content.isKeySaved);
}

void KeySection::focusField() {
    key_->setFocus(Qt::OtherFocusReason);
}

} // namespace kestrelnet
