// SPDX-License-Identifier: MIT
#include "ui/widgets/ScrollPage.h"

#include "ui/style/Colors.h"

#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionSlider>

namespace kestrelnet {

namespace {

/// Draws only its thumb, and nothing if there is nothing to scroll.
class SlimScrollBar final : public QScrollBar {
  public:
    explicit SlimScrollBar(QWidget* parent) : QScrollBar(Qt::Vertical, parent) {
        setAttribute(Qt::WA_Hover);
    }

    QSize sizeHint() const override {
        return {ScrollPage::scrollBarWidth, QScrollBar::sizeHint().height()};
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        if (minimum() == maximum()) {
            return;
        }
        QStyleOptionSlider option;
        initStyleOption(&option);
        const QRectF thumb = style()->subControlRect(QStyle::CC_ScrollBar, &option,
                                                     QStyle::SC_ScrollBarSlider, this);
        QColor color = textColor(ColorRole::secondary);
        color.setAlphaF(isSliderDown() ? 0.9F : underMouse() ? 0.7F : 0.4F);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        constexpr qreal inset = 3;
        const qreal radius = (thumb.width() - 2 * inset) / 2;
        painter.drawRoundedRect(thumb.adjusted(inset, inset, -inset, -inset), radius, radius);
    }
};

} // namespace

ScrollPage::ScrollPage(QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBar(new SlimScrollBar(this));
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
}

} // namespace kestrelnet
