// SPDX-License-Identifier: MIT
#include "ui/settings/SettingsWindow.h"

#include "ui/widgets/AccessibleRole.h"
#include "ui/widgets/Form.h"
#include "ui/widgets/Mirror.h"
#include "ui/widgets/ScrollPage.h"
#include "ui/widgets/WorkAreaFit.h"

#include <QKeyEvent>
#include <QPointer>
#include <QVBoxLayout>

#include <utility>

namespace kestrelnet {

namespace {

constexpr int fullWidth = 480;
constexpr int fullHeight = 560;
constexpr int padding = (fullWidth - FormSection::width) / 2;

} // namespace

SettingsWindow::SettingsWindow(SettingsView::Context context)
    : context_(std::move(context)), page_(new ScrollPage(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setAccessibleRole(*this, QAccessible::Window);
    setWindowTitle(QStringLiteral("Kestrelnet Settings"));
    new WorkAreaFit(*this, {fullWidth, fullHeight});
    auto* const all = new QVBoxLayout(this);
    all->setContentsMargins({});
    all->addWidget(page_);
    build({});
}

void SettingsWindow::build(const SettingsViewState& state) {
    auto* const content = new QWidget;
    auto* const column = new QVBoxLayout(content);
    column->setContentsMargins(mirrored(
        {padding, padding, padding - ScrollPage::scrollBarWidth, padding}, layoutDirection()));
    view_ = new SettingsView(context_, state);
    view_->refresh();
    column->addWidget(view_);
    column->addStretch();
    page_->setWidget(content);
    content->show();
    view_->focusKeyField();
}

bool SettingsWindow::event(QEvent* event) {
    if (event->type() == QEvent::WindowActivate) {
        // The user may have installed the client in another window.
        view_->noteChange();
    }
    return QWidget::event(event);
}

void SettingsWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        // Later: the present widgets still have to receive this event.
        context_.mainQueue->async([self = QPointer(this)] {
            if (self) {
                self->build(SettingsViewState(self->view_->state()));
            }
        });
    }
}

void SettingsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace kestrelnet
