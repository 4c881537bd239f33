// SPDX-License-Identifier: MIT
#pragma once

#include "ui/widgets/Form.h"

#include <functional>

namespace kestrelnet {

class Switch;
struct SettingsContent;

/// "Startup": the switches for what happens at login and at launch.
class StartupSection final : public FormSection {
  public:
    struct Actions {
        std::function<void(bool)> setStartAtLogin;
        std::function<void(bool)> setAutoConnect;
    };

    StartupSection(Actions actions, QWidget* parent);

    /// Calls no action.
    void apply(const SettingsContent& content);

  private:
    Switch* startAtLogin_ = nullptr;
    Switch* autoConnect_ = nullptr;
    FormRow* helperNeededRow_ = nullptr;
};

} // namespace kestrelnet
