// SPDX-License-Identifier: MIT
#include "ui/widgets/ScrollPage.h"

#include "ui/style/Colors.h"

#include <QApplication>
#include <QPainter>
#include <QScrollBar>
#include <QStyleOptionSlider>

#include <algorithm>

namespace kestrelnet {

namespace {

/// Draws only its thumb, and nothing if there is nothing to scroll.
class SlimScrollBar final : public QScrollBar {
  public:
    SlimScrollBar(Qt::Orientation orientation, QWidget* parent) : QScrollBar(orientation, parent) {
        setAttribute(Qt::WA_Hover);
    }

    QSize sizeHint() const override {
        const QSize hint = QScrollBar::sizeHint();
        return orientation() == Qt::Vertical ? QSize(ScrollPage::scrollBarWidth, hint.height())
                                             : QSize(hint.width(), ScrollPage::scrollBarWidth);
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
        color.setAlphaF(isSliderDown() ? 0.9F : underMouse() ? 0.8F : 0.7F);
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        constexpr qreal inset = 3;
        const qreal radius = (std::min(thumb.width(), thumb.height()) - 2 * inset) / 2;
        painter.drawRoundedRect(thumb.adjusted(inset, inset, -inset, -inset), radius, radius);
    }
};

} // namespace

ScrollPage::ScrollPage(QWidget* parent) : QScrollArea(parent) {
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBar(new SlimScrollBar(Qt::Horizontal, this));
    setVerticalScrollBar(new SlimScrollBar(Qt::Vertical, this));
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    // The style would draw a frame where the two bars meet.
    setCornerWidget(new QWidget);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* focused) {
        // A click must hit what is under the pointer.
        if (QGuiApplication::mouseButtons() == Qt::NoButton) {
            showFocus(focused);
        }
    });
}

void ScrollPage::resizeEvent(QResizeEvent* event) {
    QScrollArea::resizeEvent(event);
    showFocus(QApplication::focusWidget());
}

void ScrollPage::showFocus(QWidget* focused) {
    if (focused != nullptr && widget() != nullptr && widget()->isAncestorOf(focused)) {
        ensureWidgetVisible(focused);
    }
}

} // namespace kestrelnet
