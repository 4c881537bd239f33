// SPDX-License-Identifier: MIT
#pragma once

#include "ui/widgets/Alert.h"

#include <functional>

namespace kestrelnet {

/// Asks whether to end a running Kestrelnet that does not respond, so that this process can replace
/// it. The default answer is not to.
class ReplaceAlert final : public Alert {
  public:
    /// Returns after the user has answered: true to end the other process.
    static bool ask();

  private:
    explicit ReplaceAlert(std::function<void()> replace);
};

} // namespace kestrelnet
