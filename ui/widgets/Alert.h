// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"

#include <QDialog>

#include <functional>
#include <string_view>

class QHBoxLayout;

namespace kestrelnet {

/// A question or a message: a symbol, a title, a text, and buttons that each close it. Escape and
/// the window's own button close it without pressing any. Deletes itself when it is closed.
class Alert : public QDialog {
  public:
    enum class Kind { ordinary, prominent, destructive };

    /// Blocks the window of `parent` alone, when there is one and `modality` says so.
    Alert(QWidget* parent, std::string_view symbol, ColorRole color, const QString& title,
          const QString& message, Qt::WindowModality modality = Qt::WindowModal);

  protected:
    /// From left to right, in the order of adding. `action` is called once the alert is closed.
    void addButton(const QString& label, Kind kind, std::function<void()> action);
    /// The same; Return presses this one as long as no other has the focus.
    void addDefaultButton(const QString& label, Kind kind, std::function<void()> action);

  private:
    QHBoxLayout* buttons_;
};

} // namespace kestrelnet
