// SPDX-License-Identifier: MIT
#pragma once

#include "ui/widgets/Form.h"

#include <functional>
#include <string>

class QLineEdit;

namespace kestrelnet {

class BorderlessButton;
class FilledButton;
class TextRow;
struct Link;
struct SettingsContent;

/// "Device API Key": the field for the key, and a link to where a user gets one.
class KeySection final : public FormSection {
  public:
    struct Actions {
        std::function<void(std::string)> edit;
        std::function<void()> showOrHide;
        std::function<void()> save;
    };

    /// The field starts with `editingKey`.
    KeySection(const std::string& editingKey, const Link& portal, Actions actions, QWidget* parent);

    void apply(const SettingsContent& content);
    void focusField();

  private:
    void addField(const std::string& editingKey);
    void addSaveButton();
    void addPortal(const Link& portal);

    Actions actions_;
    QLineEdit* key_ = nullptr;
    BorderlessButton* showKey_ = nullptr;
    FilledButton* save_ = nullptr;
    TextRow* keySaved_ = nullptr;
};

} // namespace kestrelnet
