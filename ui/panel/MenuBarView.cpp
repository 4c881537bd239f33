// SPDX-License-Identifier: MIT
#include "ui/panel/MenuBarView.h"

#include "core/TunnelManager.h"
#include "ui/panel/CopyMenu.h"
#include "ui/style/QtText.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/Buttons.h"
#include "ui/widgets/Divider.h"
#include "ui/widgets/TextRow.h"

#include <QContextMenuEvent>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QVBoxLayout>

#include <utility>

namespace kestrelnet {

namespace {

constexpr int stackSpacing = 12;
constexpr int statusSpacing = 6;
constexpr int headerPadding = 4;
/// The symbols and circles of all rows are centred in one column.
constexpr int markColumn = 20;
constexpr int symbolSide = 16;

TextRow::Look look(const QFont& font, ColorRole color, int maxLines = 1) {
    return {.font = font,
            .color = color,
            .width = MenuBarView::innerWidth,
            .maxLines = maxLines,
            .markColumn = markColumn,
            .symbolSide = symbolSide};
}

void showRow(TextRow& row, const std::optional<std::string>& text) {
    row.setVisible(text.has_value());
    if (text) {
        row.setContent(qtText(*text));
    }
}

} // namespace

MenuBarView::MenuBarView(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions,
                         QWidget* parent)
    : QWidget(parent), tunnel_(tunnel), actions_(std::move(actions)),
      updater_(std::move(mainQueue),
               {.content = [&tunnel] { return menuBarContent(tunnel); },
                .apply = [this](const MenuBarContent& content) { apply(content); },
                .isVisible = [this] { return isVisible(); }}),
      subscription_(tunnel.objectWillChange.subscribe([this] { updater_.noteChange(); })) {
    setFixedWidth(fullWidth);
    auto* all = new QVBoxLayout(this);
    all->setContentsMargins({});
    all->setSpacing(0);
    auto* column = new QVBoxLayout;
    column->setContentsMargins(padding, padding, padding, 0);
    column->setSpacing(stackSpacing);
    all->addLayout(column);
    addStatus(*column);
    column->addWidget(new Divider(this));
    addAction(*column);
    lastLog_ = new TextRow({.font = monospacedFont(TextStyle::caption2),
                            .color = ColorRole::secondary,
                            .width = innerWidth,
                            .maxLines = 2});
    column->addWidget(lastLog_);
    column->addWidget(new Divider(this));
    addFooter(*all);
}

void MenuBarView::addStatus(QVBoxLayout& column) {
    auto headerLook = look(textFont(TextStyle::headline), ColorRole::primary);
    headerLook.symbolSide = QFontMetrics(textFont(TextStyle::title2)).height();
    header_ = new TextRow(headerLook);
    column.addWidget(header_);
    column.addSpacing(headerPadding);

    auto* group = new QVBoxLayout;
    group->setSpacing(statusSpacing);
    status_ = new TextRow(look(textFont(TextStyle::body), ColorRole::secondary));
    exitIP_ = new TextRow(look(monospacedFont(TextStyle::caption), ColorRole::secondary, 2));
    exitIP_->setSymbol("globe", ColorRole::secondary);
    server_ = new TextRow(look(textFont(TextStyle::caption), ColorRole::secondary, 2));
    server_->setSymbol("server.rack", ColorRole::secondary);
    group->addWidget(status_);
    group->addWidget(exitIP_);
    group->addWidget(server_);
    column.addLayout(group);
}

void MenuBarView::addAction(QVBoxLayout& column) {
    keyMissing_ = new TextRow(look(textFont(TextStyle::caption), ColorRole::orange));
    openSettings_ = new FilledButton;
    toggle_ = new FilledButton;
    column.addWidget(keyMissing_);
    column.addWidget(openSettings_, 0, Qt::AlignLeft);
    column.addWidget(toggle_);
    connect(openSettings_, &QPushButton::clicked, this, [this] { actions_.showSettings(); });
    connect(toggle_, &QPushButton::clicked, this, [this] { actions_.toggle(); });
}

void MenuBarView::addFooter(QVBoxLayout& all) {
    settings_ = new BorderlessButton(QStringLiteral("Settings..."), ColorRole::accent);
    quit_ = new BorderlessButton(QStringLiteral("Quit"), ColorRole::secondary);
    auto* footer = new QHBoxLayout;
    // The labels line up with the other rows. Hover and focus faces extend into the padding.
    constexpr QMargins outset = BorderlessButton::outset;
    footer->setContentsMargins(QMargins(padding, stackSpacing, padding, padding) - outset);
    footer->addWidget(settings_);
    footer->addStretch();
    footer->addWidget(quit_);
    all.addLayout(footer);
    connect(settings_, &QPushButton::clicked, this, [this] { actions_.showSettings(); });
    connect(quit_, &QPushButton::clicked, this, [this] { actions_.quit(); });
}

void MenuBarView::apply(const MenuBarContent& content) {
    header_->setSymbol(content.headerSymbol, content.statusColor);
    header_->setContent(qtText(content.title));
    status_->setCircle(content.statusColor);
    status_->setContent(qtText(content.statusText));
    // Each call tells assistive programs that the name has changed.
    const QString name = QStringLiteral("Status: ") + qtText(content.statusText);
    if (status_->accessibleName() != name) {
        status_->setAccessibleName(name);
    }
    showRow(*exitIP_, content.exitIP);
    showRow(*server_, content.server);
    applyAction(content);
    showRow(*lastLog_, content.lastLog);
    // Now, so that the window has the new size before it is shown or painted.
    layout()->activate();
}

void MenuBarView::applyAction(const MenuBarContent& content) {
    const auto* keyMissing = std::get_if<KeyMissing>(&content.action);
    const auto* connectButton = std::get_if<ConnectButton>(&content.action);
    keyMissing_->setVisible(keyMissing != nullptr);
    openSettings_->setVisible(keyMissing != nullptr);
    toggle_->setVisible(connectButton != nullptr);
    if (keyMissing != nullptr) {
        keyMissing_->setSymbol(keyMissing->symbol, keyMissing->color);
        keyMissing_->setContent(qtText(keyMissing->text));
        openSettings_->setContent({}, qtText(keyMissing->buttonLabel), ColorRole::accent);
    }
    if (connectButton != nullptr) {
        toggle_->setContent(connectButton->symbol, qtText(connectButton->label),
                            connectButton->tint);
    }
}

void MenuBarView::focusMainButton() {
    QWidget* const button = toggle_->isHidden() ? openSettings_ : toggle_;
    button->setFocus(Qt::OtherFocusReason);
}

void MenuBarView::contextMenuEvent(QContextMenuEvent* event) {
    openCopyMenu(tunnel_, *event, *this);
}

/// The toolkit knows only the Menu key, which many keyboards lack.
void MenuBarView::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_F10 || event->modifiers() != Qt::ShiftModifier) {
        return QWidget::keyPressEvent(event);
    }
    const QWidget* const focus = focusWidget();
    const QPoint place = focus != nullptr ? focus->geometry().center() : rect().center();
    QContextMenuEvent opening(QContextMenuEvent::Keyboard, place, mapToGlobal(place));
    contextMenuEvent(&opening);
}

void MenuBarView::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

} // namespace kestrelnet
