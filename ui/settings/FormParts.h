// SPDX-License-Identifier: MIT
// Rows and texts that several sections of the settings use.
#pragma once

#include "ui/style/ColorRole.h"
#include "ui/widgets/Form.h"
#include "ui/widgets/TextRow.h"

#include <QFont>

#include <optional>
#include <string>

namespace kestrelnet {

struct Link;
class LinkButton;

/// A row with a label on the left and a value on the right.
struct LabelledRow {
    FormRow* row = nullptr;
    TextRow* value = nullptr;

    /// Shows `text` as the value; hides the whole row without a text.
    void show(const std::optional<std::string>& text) const;
};

struct ValueLook {
    QFont font;
    ColorRole color = ColorRole::secondary;
    bool hasCircle = false;
};

LabelledRow addLabelled(FormSection& section, const QString& label, const ValueLook& look);

/// Adds a row with a small text that explains the row above.
FormRow& addCaption(FormSection& section, ColorRole color, const QString& text);

/// Adds a text that takes the whole width of `row`.
TextRow* addText(FormRow& row, const QFont& font, ColorRole color, int maxLines);

/// Adds a text that is only as wide as its content.
TextRow* addHugging(FormRow& row, TextRow::Look look, const QString& text);

void showLink(LinkButton& button, const Link& link);

} // namespace kestrelnet
