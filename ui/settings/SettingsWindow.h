// SPDX-License-Identifier: MIT
#pragma once

#include "ui/settings/SettingsView.h"

#include <QWidget>

namespace kestrelnet {

class ScrollPage;

/// The settings: an ordinary window of fixed size, smaller only where the screen is. Escape closes
/// it. It deletes itself when it is closed, so the next one starts with its initial state.
class SettingsWindow final : public QWidget {
  public:
    explicit SettingsWindow(SettingsView::Context context);

  protected:
    bool event(QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void build(const SettingsViewState& state);

    SettingsView::Context context_;
    ScrollPage* page_;
    SettingsView* view_ = nullptr;
};

} // namespace kestrelnet
