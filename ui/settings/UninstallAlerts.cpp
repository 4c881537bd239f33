// SPDX-License-Identifier: MIT
#include "ui/settings/UninstallAlerts.h"

#include <utility>

namespace kestrelnet {

UninstallConfirm::UninstallConfirm(QWidget* parent, std::function<void()> uninstall)
    : Alert(parent, "exclamationmark.shield", ColorRole::red,
            QStringLiteral("Uninstall Kestrelnet?"),
            QStringLiteral("This will remove the privileged helper, launch agent, configuration, "
                           "and ~/.kestrelnet directory. The app itself will remain in "
                           "Applications.")) {
    // So that Return does not uninstall.
    addDefaultButton(QStringLiteral("Cancel"), Kind::ordinary, {});
    addButton(QStringLiteral("Uninstall"), Kind::destructive, std::move(uninstall));
}

UninstallDone::UninstallDone(QWidget* parent, std::function<void()> quit)
    : Alert(parent, "checkmark.circle.fill", ColorRole::green, QStringLiteral("Uninstall Complete"),
            QStringLiteral("All Kestrelnet components have been removed. You can delete the app "
                           "from Applications.")) {
    addDefaultButton(QStringLiteral("Quit"), Kind::prominent, std::move(quit));
}

} // namespace kestrelnet
