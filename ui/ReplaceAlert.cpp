// SPDX-License-Identifier: MIT
#include "ui/ReplaceAlert.h"

#include <QPushButton>

namespace kestrelnet {

ReplaceAlert::ReplaceAlert() {
    const QString title = QStringLiteral("Kestrelnet does not answer");
    setWindowTitle(title);
    setTextFormat(Qt::PlainText);
    setText(title);
    setInformativeText(QStringLiteral(
        "It is running already, but has not answered. You can end it by force, which also ends its "
        "connection, and start it again."));
    setIcon(QMessageBox::Warning);
    replace_ = addButton(QStringLiteral("End and Start Again"), QMessageBox::DestructiveRole);
    auto* const cancel = addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    setDefaultButton(cancel);
    setEscapeButton(cancel);
}

bool ReplaceAlert::isAccepted() {
    exec();
    return clickedButton() == replace_;
}

} // namespace kestrelnet
