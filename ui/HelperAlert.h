// SPDX-License-Identifier: MIT
#pragma once

#include <QMessageBox>

#include <functional>

namespace kestrelnet {

/// Offers to install the privileged helper. Blocks nothing; deletes itself when it is dismissed.
class HelperAlert final : public QMessageBox {
  public:
    /// `install` is called when the offer is taken.
    HelperAlert(QWidget* parent, std::function<void()> install);
};

} // namespace kestrelnet
