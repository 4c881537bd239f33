// SPDX-License-Identifier: MIT
#pragma once

#include "ui/settings/FormParts.h"

namespace kestrelnet {

class CommandText;
struct SettingsContent;

/// "About": the version, the client's file or how to get it, and the home page.
class AboutSection final : public FormSection {
  public:
    explicit AboutSection(QWidget* parent);

    void apply(const SettingsContent& content);

  private:
    LabelledRow version_;
    LabelledRow binary_;
    LabelledRow noBinary_;
    FormRow* installHintRow_ = nullptr;
    FormRow* installCommandRow_ = nullptr;
    CommandText* installCommand_ = nullptr;
    FormRow* homeRow_ = nullptr;
    LinkButton* home_ = nullptr;
};

} // namespace kestrelnet
