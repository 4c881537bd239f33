// SPDX-License-Identifier: MIT
// What is asked before everything is removed, and said afterwards.
#pragma once

#include "ui/widgets/Alert.h"

#include <functional>

namespace kestrelnet {

class UninstallConfirm final : public Alert {
  public:
    /// `uninstall` is called when the question is answered so.
    UninstallConfirm(QWidget* parent, std::function<void()> uninstall);
};

class UninstallDone final : public Alert {
  public:
    /// `quit` is called by the button alone: dismissed in another way, the program goes on.
    UninstallDone(QWidget* parent, std::function<void()> quit);
};

} // namespace kestrelnet
