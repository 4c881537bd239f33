// SPDX-License-Identifier: MIT
#pragma once

#include "ui/settings/FormParts.h"

#include <functional>

namespace kestrelnet {

struct SettingsContent;

/// "Helper": whether the privileged helper is installed, and the button that installs it.
class HelperSection final : public FormSection {
  public:
    HelperSection(std::function<void()> install, QWidget* parent);

    void apply(const SettingsContent& content);

  private:
    LabelledRow helper_;
    FormRow* installRow_ = nullptr;
};

} // namespace kestrelnet
