// SPDX-License-Identifier: MIT
#include "ui/widgets/Alert.h"

#include "ui/style/Colors.h"
#include "ui/style/Symbols.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/Buttons.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace kestrelnet {

namespace {

constexpr int symbolSide = 48;
constexpr int fullTextWidth = 360;
constexpr int padding = 20;
constexpr int spacing = 16;
constexpr int textSpacing = 8;
constexpr int buttonSpacing = 10;

class Picture final : public QWidget {
  public:
    Picture(std::string_view symbol, ColorRole color) : symbol_(symbol), color_(color) {
        setFixedSize(symbolSide, symbolSide);
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        paintSymbol(painter, symbol_, rect(), symbolColor(color_));
    }

  private:
    std::string_view symbol_;
    ColorRole color_;
};

/// On a small screen the text takes more lines.
int textWidth(const QScreen& screen) {
    return std::min(fullTextWidth,
                    screen.availableSize().width() - symbolSide - spacing - 2 * (padding + 1));
}

QLabel* label(const QString& text, TextStyle style, int width) {
    auto* const result = new QLabel(text);
    result->setTextFormat(Qt::PlainText);
    result->setFont(textFont(style));
    result->setWordWrap(true);
    result->setFixedWidth(width);
    return result;
}

QPushButton* makeButton(const QString& label, Alert::Kind kind) {
    if (kind == Alert::Kind::ordinary) {
        return new BorderedButton(label, ColorRole::primary);
    }
    auto* const button = new FilledButton;
    button->setContent({}, label,
                       kind == Alert::Kind::destructive ? ColorRole::red : ColorRole::accent);
    return button;
}

} // namespace

Alert::Alert(QWidget* parent, std::string_view symbol, ColorRole color, const QString& title,
             const QString& message, Qt::WindowModality modality)
    : QDialog(parent), buttons_(new QHBoxLayout) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowModality(parent != nullptr ? modality : Qt::NonModal);
    setWindowTitle(title);
    auto* const texts = new QVBoxLayout;
    texts->setSpacing(textSpacing);
    const int width = textWidth(*screen());
    texts->addWidget(label(title, TextStyle::headline, width));
    texts->addWidget(label(message, TextStyle::body, width));
    texts->addStretch();
    auto* const upper = new QHBoxLayout;
    upper->setSpacing(spacing);
    upper->addWidget(new Picture(symbol, color), 0, Qt::AlignTop);
    upper->addLayout(texts);
    buttons_->setSpacing(buttonSpacing);
    buttons_->addStretch();
    auto* const all = new QVBoxLayout(this);
    all->setContentsMargins(padding, padding, padding, padding);
    all->setSpacing(spacing);
    all->setSizeConstraint(QLayout::SetFixedSize);
    all->addLayout(upper);
    all->addLayout(buttons_);
}

void Alert::addButton(const QString& label, Kind kind, std::function<void()> action) {
    auto* const button = makeButton(label, kind);
    button->setAutoDefault(false);
    buttons_->addWidget(button);
    connect(button, &QPushButton::clicked, this, [this, action = std::move(action)] {
        // Closing deletes `this`, in a later turn of the main loop.
        done(Accepted);
        if (action) {
            action();
        }
    });
}

void Alert::addDefaultButton(const QString& label, Kind kind, std::function<void()> action) {
    addButton(label, kind, std::move(action));
    auto* const button =
        qobject_cast<QPushButton*>(buttons_->itemAt(buttons_->count() - 1)->widget());
    button->setDefault(true);
    // With a focus ring, to show which button Return presses.
    button->setFocus(Qt::TabFocusReason);
}

} // namespace kestrelnet
