// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/EventLoop.h"
#include "tests/ui/WidgetTest.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/style/Colors.h"
#include "ui/widgets/Alert.h"

#include <QApplication>
#include <QCheckBox>
#include <QFont>
#include <QLineEdit>
#include <QPointer>

#include <string>

namespace kestrelnet {

/// Doubles the size of the application's font as long as it exists.
class DoubledFont {
  public:
    DoubledFont() {
        QFont larger = before_;
        larger.setPointSizeF(before_.pointSizeF() * 2);
        QApplication::setFont(larger);
    }
    ~DoubledFont() { QApplication::setFont(before_); }
    DoubledFont(const DoubledFont&) = delete;
    DoubledFont& operator=(const DoubledFont&) = delete;

  private:
    QFont before_ = QApplication::font();
};

/// The settings window of a test controller, and functions to read and use it.
class SettingsViewTest : public WidgetTest {
  protected:
    SettingsViewTest() { tunnel->apiKey = validKey; }
    ~SettingsViewTest() override {
        delete window;
        setColorMode({});
        QApplication::setPalette(QPalette());
        runPostedEvents();
    }

    void open() {
        SettingsFacts facts;
        facts.version = "1.2.3";
        facts.operatorValues.productDomain = "kestrel.example";
        window = new SettingsWindow(
            {.tunnel = *tunnel, .mainQueue = time.mainQueue(), .facts = facts, .terminate = [this] {
                 ++terminations;
             }});
        window->show();
        window->activateWindow();
        ASSERT_TRUE(waitUntil([this] { return window->isActiveWindow(); }));
    }
    std::string shown() const { return texts(*window).join(u'|').toStdString(); }
    void click(const char* label) const {
        auto* const found = button(*window, QLatin1StringView(label));
        ASSERT_NE(found, nullptr) << label;
        found->click();
    }
    QLineEdit* field() const {
        return qobject_cast<QLineEdit*>(
            control(*window, QAccessible::EditableText, QStringLiteral("Device API Key")));
    }
    QCheckBox* switchOf(const char* label) const {
        return qobject_cast<QCheckBox*>(
            control(*window, QAccessible::CheckBox, QLatin1StringView(label)));
    }
    Alert* alert() const {
        for (auto* const dialog : window->findChildren<QDialog*>()) {
            auto* const found = dynamic_cast<Alert*>(dialog);
            if (found != nullptr && found->isVisible()) {
                return found;
            }
        }
        return nullptr;
    }
    static void runDeferredDeletes() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    const std::string installCommand = tunnel->installCommand();
    QPointer<SettingsWindow> window;
    int terminations = 0;
};

} // namespace kestrelnet
