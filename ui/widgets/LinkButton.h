// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/TextStyle.h"
#include "ui/widgets/Buttons.h"

#include <QString>

namespace kestrelnet {

/// A text that opens an address in the default browser. Assistive programs see a link. The focus
/// ring extends beyond the text by `outset`.
class LinkButton final : public Button {
  public:
    static constexpr QMargins outset{2, 1, 2, 1};

    explicit LinkButton(TextStyle style, QWidget* parent = nullptr);

    void setLink(const QString& text, const QString& address);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QString address_;
};

} // namespace kestrelnet
