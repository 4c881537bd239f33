// SPDX-License-Identifier: MIT
#include "ui/settings/FormParts.h"

#include "ui/settings/SettingsContent.h"
#include "ui/style/QtText.h"
#include "ui/widgets/LinkButton.h"

namespace kestrelnet {

namespace {

constexpr int valueSpacing = 16;
constexpr int circleColumn = 8;

} // namespace

void LabelledRow::show(const std::optional<std::string>& text) const {
    row->setVisible(text.has_value());
    if (text) {
        value->setContent(qtText(*text));
    }
}

LabelledRow addLabelled(FormSection& section, const QString& label, const ValueLook& look) {
    FormRow& row = section.addRow();
    const QFont font = textFont(TextStyle::body);
    auto* const name = addHugging(row, {.font = font, .width = FormSection::innerWidth}, label);
    row.addStretch();
    const int left = FormSection::innerWidth - name->sizeHint().width() - valueSpacing;
    auto* const value = addHugging(row,
                                   {.font = look.font,
                                    .color = look.color,
                                    .width = left,
                                    .maxLines = 2,
                                    .markColumn = look.hasCircle ? circleColumn : 0},
                                   {});
    name->setBuddy(value);
    return {&row, value};
}

FormRow& addCaption(FormSection& section, ColorRole color, const QString& text) {
    FormRow& row = section.addRow(FormRow::Place::below);
    addText(row, textFont(TextStyle::caption), color, 2)->setContent(text);
    return row;
}

TextRow* addText(FormRow& row, const QFont& font, ColorRole color, int maxLines) {
    auto* const text = new TextRow(
        {.font = font, .color = color, .width = FormSection::innerWidth, .maxLines = maxLines});
    row.add(text);
    row.addStretch();
    return text;
}

TextRow* addHugging(FormRow& row, TextRow::Look look, const QString& text) {
    look.hugsText = true;
    auto* const added = new TextRow(look);
    added->setContent(text);
    row.add(added);
    return added;
}

void showLink(LinkButton& button, const Link& link) {
    button.setLink(qtText(link.text), qtText(link.address));
}

} // namespace kestrelnet
