// SPDX-License-Identifier: MIT
#pragma once

#include "ui/settings/FormParts.h"

#include <functional>

namespace kestrelnet {

class FilledButton;
struct SettingsContent;

/// "Connection": the state of the tunnel and the button that changes it.
class ConnectionSection final : public FormSection {
  public:
    ConnectionSection(std::function<void()> toggle, QWidget* parent);

    void apply(const SettingsContent& content);

  private:
    LabelledRow status_;
    LabelledRow exitIP_;
    LabelledRow server_;
    FormRow* toggleRow_ = nullptr;
    FilledButton* toggle_ = nullptr;
    FormRow* lastLogRow_ = nullptr;
    TextRow* lastLog_ = nullptr;
};

} // namespace kestrelnet
