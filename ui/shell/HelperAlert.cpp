// SPDX-License-Identifier: MIT
#include "ui/shell/HelperAlert.h"

#include <utility>

namespace kestrelnet {

HelperAlert::HelperAlert(QWidget* parent, std::function<void()> install)
    : Alert(
          parent, "lock.shield", ColorRole::accent, QStringLiteral("Install Privileged Helper?"),
          QStringLiteral("Kestrelnet needs a one-time helper install to connect without asking for "
                         "your password each time. This requires admin privileges."),
          Qt::NonModal) {
    addDefaultButton(QStringLiteral("Install"), Kind::prominent, std::move(install));
    addButton(QStringLiteral("Later"), Kind::ordinary, {});
}

} // namespace kestrelnet
