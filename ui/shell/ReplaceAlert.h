// SPDX-License-Identifier: MIT
#pragma once

#include "ui/widgets/Alert.h"

#include <functional>

namespace kestrelnet {

/// Asks whether a running Kestrelnet that does not answer is to be ended, so that this one can take
/// its place. To wait longer is the safe answer.
class ReplaceAlert final : public Alert {
  public:
    /// Returns once the question is answered.
    static bool ask();

  private:
    explicit ReplaceAlert(std::function<void()> replace);
};

} // namespace kestrelnet
