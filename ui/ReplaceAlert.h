// SPDX-License-Identifier: MIT
#pragma once

#include <QMessageBox>

namespace kestrelnet {

/// Asks whether a running Kestrelnet that does not answer is to be ended, so that this one can take
/// its place. To wait longer is the safe answer.
class ReplaceAlert final : public QMessageBox {
  public:
    ReplaceAlert();

    /// Returns once it is answered.
    bool isAccepted();

  private:
    QAbstractButton* replace_;
};

} // namespace kestrelnet
