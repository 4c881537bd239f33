// SPDX-License-Identifier: MIT
#include "ui/widgets/LinkButton.h"

#include "ui/style/Colors.h"

#include <QAccessibleWidget>
#include <QDesktopServices>
#include <QFontMetrics>
#include <QPainter>
#include <QUrl>

namespace kestrelnet {

namespace {

class AccessibleLink final : public QAccessibleWidget {
  public:
    explicit AccessibleLink(LinkButton& link) : QAccessibleWidget(&link, QAccessible::Link) {}

    QString text(QAccessible::Text kind) const override {
        return kind == QAccessible::Name ? link().text() : QAccessibleWidget::text(kind);
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override {
        if (name == pressAction()) {
            link().click();
        }
    }

  private:
    LinkButton& link() const { return dynamic_cast<LinkButton&>(*widget()); }
};

QAccessibleInterface* accessibleLink(const QString&, QObject* object) {
    auto* const link = dynamic_cast<LinkButton*>(object);
    return link != nullptr ? new AccessibleLink(*link) : nullptr;
}

} // namespace

LinkButton::LinkButton(TextStyle style, QWidget* parent) : Button(parent) {
    // Installs it only once.
    QAccessible::installFactory(accessibleLink);
    setFont(textFont(style));
    setCursor(Qt::PointingHandCursor);
    setAttribute(Qt::WA_Hover);
    setFlat(true);
    connect(this, &QPushButton::clicked, this, [this] { QDesktopServices::openUrl(address_); });
}

void LinkButton::setLink(const QString& text, const QString& address) {
    address_ = address;
    setText(text);
    setToolTip(address);
}

QSize LinkButton::sizeHint() const {
    return QSize(fontMetrics().horizontalAdvance(text()), fontMetrics().height()).grownBy(outset);
}

void LinkButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QFont shown = font();
    shown.setUnderline(underMouse());
    painter.setFont(shown);
    painter.setPen(QPen(textColor(ColorRole::accent), 1.5));
    if (showsFocus()) {
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), 4, 4);
    }
    // On the same baseline as a text beside it.
    painter.drawText(rect().adjusted(0, 1, 0, 0), Qt::AlignCenter | Qt::TextSingleLine, text());
}

} // namespace kestrelnet
