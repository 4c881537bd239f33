// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "platform/Dispatch.h"
#include "ui/settings/SettingsContent.h"
#include "ui/widgets/Redraw.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QLineEdit;

namespace kestrelnet {

class Alert;
class BorderedButton;
class BorderlessButton;
class CommandText;
class FilledButton;
class FormRow;
class FormSection;
class LinkButton;
class Switch;
class TextRow;

/// What the settings window holds: the key, the connection in detail, the switches, the helper,
/// what is installed, and the way to remove it all. Hidden, it only notes that something changed.
class SettingsView final : public QWidget {
  public:
    struct Context {
        TunnelManager& tunnel;
        std::shared_ptr<Queue> mainQueue;
        SettingsFacts facts;
        /// Ends the program at once.
        std::function<void()> terminate;
    };

    /// `state` is what an earlier view had kept, for one that takes its place.
    explicit SettingsView(Context context, SettingsViewState state = {}, QWidget* parent = nullptr);

    const SettingsViewState& state() const { return state_; }
    /// Shows the present state now, as becoming visible does.
    void refresh();
    /// Something outside may have changed that sends no notice, as the client's file.
    void noteChange();
    /// Moves the keyboard focus to the first control.
    void focusKeyField();

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void addKey(FormSection& section);
    void addPortal(FormSection& section);
    void addConnection(FormSection& section);
    void addStartup(FormSection& section);
    void addHelper(FormSection& section);
    void addAbout(FormSection& section);
    void addUninstall(FormSection& section);

    void apply(const SettingsContent& content);
    void applyKey(const SettingsContent& content);
    void applyConnection(const SettingsContent& content);
    void applyStartup(const SettingsContent& content);
    void applyHelper(const SettingsContent& content);
    void applyAbout(const SettingsContent& content);
    void applyAlerts(const SettingsContent& content);

    /// Shows a change of what the window keeps for itself.
    void showOwnChange();
    void save();
    void uninstall();

    /// A row of a label at one end and a value at the other, which may go away as a whole.
    struct LabelledRow {
        FormRow* row = nullptr;
        TextRow* value = nullptr;

        void show(const std::optional<std::string>& text) const;
    };
    struct ValueLook {
        QFont font;
        ColorRole color = ColorRole::secondary;
        bool hasCircle = false;
    };
    static int symbolSide();
    static LabelledRow addLabelled(FormSection& section, const QString& label,
                                   const ValueLook& look);

    Context context_;
    SettingsViewState state_;

    QLineEdit* key_ = nullptr;
    BorderlessButton* showKey_ = nullptr;
    FilledButton* save_ = nullptr;
    TextRow* keySaved_ = nullptr;
    LinkButton* portal_ = nullptr;
    LabelledRow status_;
    LabelledRow exitIP_;
    LabelledRow server_;
    FormRow* toggleRow_ = nullptr;
    FilledButton* toggle_ = nullptr;
    FormRow* lastLogRow_ = nullptr;
    TextRow* lastLog_ = nullptr;
    Switch* startAtLogin_ = nullptr;
    Switch* autoConnect_ = nullptr;
    FormRow* helperNeededRow_ = nullptr;
    LabelledRow helper_;
    FormRow* installHelperRow_ = nullptr;
    LabelledRow version_;
    LabelledRow binary_;
    LabelledRow noBinary_;
    FormRow* installHintRow_ = nullptr;
    FormRow* installCommandRow_ = nullptr;
    CommandText* installCommand_ = nullptr;
    FormRow* homeRow_ = nullptr;
    LinkButton* home_ = nullptr;
    QPointer<Alert> confirm_;
    QPointer<Alert> done_;

    std::optional<SettingsContent> shown_;
    bool dirty_ = true;
    Redraw redraw_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
