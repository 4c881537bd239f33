// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"

#include <QDialog>

#include <functional>
#include <string_view>

class QHBoxLayout;

namespace kestrelnet {

/// A question or a message: a symbol, a title, a text, and buttons that each close it. Escape and
/// the window's close button close it without calling an action. It deletes itself when it is
/// closed.
class Alert : public QDialog {
  public:
    enum class Kind { ordinary, prominent, destructive };

    /// `modality` is relative to `parent`. Without a parent the alert is not modal.
    Alert(QWidget* parent, std::string_view symbol, ColorRole color, const QString& title,
          const QString& message, Qt::WindowModality modality = Qt::WindowModal);

  protected:
    /// Adds a button to the right of the others. `action` is called after the alert has closed.
    void addButton(const QString& label, Kind kind, std::function<void()> action);
    /// Adds a button that Return presses unless another button has the focus.
    void addDefaultButton(const QString& label, Kind kind, std::function<void()> action);

  private:
    QHBoxLayout* buttons_;
};

} // namespace kestrelnet
