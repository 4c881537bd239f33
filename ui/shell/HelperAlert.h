// SPDX-License-Identifier: MIT
#pragma once

#include "ui/widgets/Alert.h"

#include <functional>

namespace kestrelnet {

/// Offers to install the privileged helper. Not modal.
class HelperAlert final : public Alert {
  public:
    /// `install` is called when the user presses "Install".
    HelperAlert(QWidget* parent, std::function<void()> install);
};

} // namespace kestrelnet
