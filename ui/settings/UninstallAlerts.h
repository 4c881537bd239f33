// SPDX-License-Identifier: MIT
// The question before everything is uninstalled, and the message afterwards.
#pragma once

#include "ui/widgets/Alert.h"

#include <functional>

namespace kestrelnet {

class UninstallConfirm final : public Alert {
  public:
    /// `uninstall` is called when the user presses "Uninstall".
    UninstallConfirm(QWidget* parent, std::function<void()> uninstall);
};

class UninstallDone final : public Alert {
  public:
    /// `quit` is called only by the button. Dismissed in another way, the program keeps running.
    UninstallDone(QWidget* parent, std::function<void()> quit);
};

} // namespace kestrelnet
