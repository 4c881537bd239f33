// SPDX-License-Identifier: MIT
#pragma once

#include <QMessageBox>

namespace kestrelnet {

/// Offers to install the privileged helper. Blocks nothing; deletes itself when it is dismissed.
class HelperAlert final : public QMessageBox {
  public:
    explicit HelperAlert(QWidget* parent);
};

} // namespace kestrelnet
