// SPDX-License-Identifier: MIT
#include "ui/shell/ReplaceAlert.h"

#include <utility>

namespace kestrelnet {

ReplaceAlert::ReplaceAlert(std::function<void()> replace)
    : Alert(nullptr, "exclamationmark.shield", ColorRole::red,
            QStringLiteral("Kestrelnet does not answer"),
            QStringLiteral("It is running already, but has not answered. You can end it by force, "
                           "which also ends its connection, and start it again.")) {
    addDefaultButton(QStringLiteral("Cancel"), Kind::ordinary, {});
    addButton(QStringLiteral("End and Start Again"), Kind::destructive, std::move(replace));
}

bool ReplaceAlert::ask() {
    bool isAccepted = false;
    auto* const alert = new ReplaceAlert([&isAccepted] { isAccepted = true; });
    alert->exec();
    return isAccepted;
}

} // namespace kestrelnet
