// SPDX-License-Identifier: MIT
#include "ui/widgets/Form.h"

#include "ui/style/Colors.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/AccessibleRole.h"
#include "ui/widgets/Mirror.h"
#include "ui/widgets/TextRow.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

namespace kestrelnet {

namespace {

constexpr qreal cornerRadius = 10;
constexpr int rowPadding = 9;
constexpr int leastHeight = 40;
constexpr int spacing = 10;
constexpr int headerSpacing = 8;

} // namespace

FormRow::FormRow(Place place, QWidget* parent)
    : QWidget(parent), place_(place), row_(new QHBoxLayout(this)) {
    const int top = place_ == Place::below ? 0 : rowPadding;
    row_->setContentsMargins(FormSection::padding, top, FormSection::padding, rowPadding);
    row_->setSpacing(spacing);
    if (place_ == Place::apart) {
        row_->addStrut(leastHeight - 2 * rowPadding);
    }
}

void FormRow::add(QWidget* widget) {
    row_->addWidget(widget, 0, Qt::AlignVCenter);
}

void FormRow::setOutset(const QMargins& outset) {
    row_->setContentsMargins(row_->contentsMargins() - mirrored(outset, layoutDirection()));
}

void FormRow::addStretch() {
    row_->addStretch();
}

void FormRow::setSpacing(int width) {
    row_->setSpacing(width);
}

class FormSection::Card final : public QWidget {
  public:
    explicit Card(QWidget* parent) : QWidget(parent), rows_(new QVBoxLayout(this)) {
        rows_->setContentsMargins(0, 1, 0, 1);
        rows_->setSpacing(0);
    }

    FormRow& addRow(FormRow::Place place) {
        auto* const row = new FormRow(place, this);
        rows_->addWidget(row);
        return *row;
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setBrush(palette().button());
        painter.setPen(lineColor());
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius,
                                cornerRadius);
        bool isFirst = true;
        for (int i = 0; i < rows_->count(); ++i) {
            const auto* const row = dynamic_cast<FormRow*>(rows_->itemAt(i)->widget());
            if (row == nullptr || row->isHidden()) {
                continue;
            }
            if (!isFirst && row->place() == FormRow::Place::apart) {
                painter.fillRect(QRect(padding, row->y(), innerWidth, 1), lineColor());
            }
            isFirst = false;
        }
    }

  private:
    QVBoxLayout* rows_;
};

FormSection::FormSection(const QString& header, QWidget* parent) : QWidget(parent) {
    setFixedWidth(width);
    setAccessibleRole(*this, QAccessible::Grouping);
    setAccessibleName(header);
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(headerSpacing);
    if (!header.isEmpty()) {
        auto* const title =
            new TextRow({.font = textFont(TextStyle::headline), .width = width}, this);
        title->setContent(header);
        column->addWidget(title);
    }
    // After the header, because screen readers read widgets in the order of their creation.
    card_ = new Card(this);
    column->addWidget(card_);
}

FormRow& FormSection::addRow(FormRow::Place place) {
    return card_->addRow(place);
}

} // namespace kestrelnet
