// SPDX-License-Identifier: MIT
#include "ui/settings/SettingsView.h"

#include "core/TunnelManager.h"
#include "ui/settings/UninstallAlerts.h"
#include "ui/style/QtText.h"
#include "ui/widgets/Buttons.h"
#include "ui/widgets/CommandText.h"
#include "ui/widgets/Form.h"
#include "ui/widgets/LinkButton.h"
#include "ui/widgets/Switch.h"
#include "ui/widgets/TextField.h"
#include "ui/widgets/TextRow.h"

#include <QFontMetrics>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <utility>

namespace kestrelnet {

namespace {

constexpr int sectionSpacing = 22;
constexpr int valueSpacing = 16;
constexpr int circleColumn = 8;
constexpr auto below = FormRow::Place::below;

/// A text of its own in `row`.
TextRow* addText(FormRow& row, const QFont& font, ColorRole color, int maxLines = 2) {
    auto* const text = new TextRow(
        {.font = font, .color = color, .width = FormSection::innerWidth, .maxLines = maxLines});
    row.add(text);
    row.addStretch();
    return text;
}

FormRow& addCaption(FormSection& section, ColorRole color, const QString& text) {
    FormRow& row = section.addRow(below);
    addText(row, textFont(TextStyle::caption), color)->setContent(text);
    return row;
}

TextRow* addHugging(FormRow& row, TextRow::Look look, const QString& text = {}) {
    look.hugsText = true;
    auto* const added = new TextRow(look);
    added->setContent(text);
    row.add(added);
    return added;
}

void showLink(LinkButton& button, const Link& link) {
    button.setLink(qtText(link.text), qtText(link.address));
}

} // namespace

void SettingsView::LabelledRow::show(const std::optional<std::string>& text) const {
    row->setVisible(text.has_value());
    if (text) {
        value->setContent(qtText(*text));
    }
}

SettingsView::LabelledRow SettingsView::addLabelled(FormSection& section, const QString& label,
                                                    const ValueLook& look) {
    FormRow& row = section.addRow();
    const QFont font = textFont(TextStyle::body);
    auto* const name = addHugging(row, {.font = font, .width = FormSection::innerWidth}, label);
    row.addStretch();
    const int left = FormSection::innerWidth - name->sizeHint().width() - valueSpacing;
    auto* const value = addHugging(row, {.font = look.font,
                                         .color = look.color,
                                         .width = left,
                                         .maxLines = 2,
                                         .markColumn = look.hasCircle ? circleColumn : 0});
    name->setBuddy(value);
    return {&row, value};
}

SettingsView::SettingsView(Context context, SettingsViewState state, QWidget* parent)
    : QWidget(parent), context_(std::move(context)), state_(std::move(state)),
      redraw_(context_.mainQueue, [this] { refresh(); }),
      subscription_(context_.tunnel.objectWillChange.subscribe([this] { noteChange(); })) {
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->setSpacing(sectionSpacing);
    const auto section = [&](const char* header, void (SettingsView::*fill)(FormSection&)) {
        auto* const added = new FormSection(QString::fromUtf8(header), this);
        column->addWidget(added);
        (this->*fill)(*added);
    };
    section("Device API Key", &SettingsView::addKey);
    section("Connection", &SettingsView::addConnection);
    section("Startup", &SettingsView::addStartup);
    section("Helper", &SettingsView::addHelper);
    section("About", &SettingsView::addAbout);
    section("", &SettingsView::addUninstall);
}

void SettingsView::addKey(FormSection& section) {
    key_ = new TextField;
    key_->setText(qtText(state_.editingKey));
    key_->setPlaceholderText(QStringLiteral("dev_..."));
    key_->setAccessibleName(QStringLiteral("Device API Key"));
    key_->setInputMethodHints(Qt::ImhSensitiveData | Qt::ImhNoPredictiveText |
                              Qt::ImhNoAutoUppercase);
    showKey_ = new BorderlessButton(QString(), ColorRole::accent);
    FormRow& entry = section.addRow();
    entry.add(key_);
    entry.add(showKey_);
    entry.setOutset({0, 0, BorderlessButton::outset.right(), 0});

    save_ = new FilledButton;
    save_->setContent({}, QStringLiteral("Save"), ColorRole::accent);
    FormRow& row = section.addRow(below);
    row.add(save_);
    keySaved_ = addHugging(row,
                           {.font = textFont(TextStyle::body),
                            .color = ColorRole::secondary,
                            .width = FormSection::innerWidth - save_->sizeHint().width(),
                            .markColumn = symbolSide(),
                            .symbolSide = symbolSide()},
                           QStringLiteral("Key saved"));
    keySaved_->setSymbol("checkmark.circle.fill", ColorRole::green);
    row.addStretch();

    addPortal(section);

    connect(key_, &QLineEdit::textChanged, this, [this](const QString& text) {
        state_.editingKey = text.toStdString();
        showOwnChange();
    });
    connect(key_, &QLineEdit::returnPressed, save_, &QPushButton::click);
    connect(save_, &QPushButton::clicked, this, [this] { save(); });
    connect(showKey_, &QPushButton::clicked, this, [this] {
        state_.showKey = !state_.showKey;
        showOwnChange();
    });
}

void SettingsView::addPortal(FormSection& section) {
    FormRow& hint = section.addRow();
    const auto* const text = addHugging(hint,
                                        {.font = textFont(TextStyle::caption),
                                         .color = ColorRole::secondary,
                                         .width = FormSection::innerWidth},
                                        QStringLiteral("Get your key from "));
    portal_ = new LinkButton(TextStyle::caption);
    showLink(*portal_, settingsContent(context_.tunnel, state_, context_.facts).portal);
    const bool isOneLine =
        text->sizeHint().width() + portal_->sizeHint().width() <= FormSection::innerWidth;
    FormRow& place = isOneLine ? hint : section.addRow(below);
    place.setSpacing(0);
    place.add(portal_);
    place.addStretch();
    if (!isOneLine) {
        place.setOutset({LinkButton::outset.left(), 0, 0, 0});
    }
}

void SettingsView::addConnection(FormSection& section) {
    const QFont body = textFont(TextStyle::body);
    status_ = addLabelled(section, QStringLiteral("Status"), {.font = body, .hasCircle = true});
    exitIP_ = addLabelled(section, QStringLiteral("Exit IP"), {.font = body});
    server_ = addLabelled(section, QStringLiteral("Server"), {.font = body});
    toggle_ = new FilledButton;
    toggleRow_ = &section.addRow();
    toggleRow_->add(toggle_);
    toggleRow_->addStretch();
    lastLogRow_ = &section.addRow();
    lastLog_ = addText(*lastLogRow_, monospacedFont(TextStyle::caption2), ColorRole::secondary, 3);
    connect(toggle_, &QPushButton::clicked, this, [this] { context_.tunnel.toggle(); });
}

void SettingsView::addStartup(FormSection& section) {
    startAtLogin_ = new Switch(QStringLiteral("Start at login"));
    autoConnect_ = new Switch(QStringLiteral("Connect automatically"));
    for (Switch* const each : {startAtLogin_, autoConnect_}) {
        FormRow& row = section.addRow();
        row.add(each);
        row.setOutset({0, 0, Switch::outset, 0});
    }
    helperNeededRow_ = &addCaption(
        section, ColorRole::orange,
        QStringLiteral("Install the helper first to enable auto-connect (no password prompt)"));
    // What a switch shows in the end is what was stored, not what was pressed. Assistive programs
    // flip it without a click.
    connect(startAtLogin_, &Switch::toggled, this, [this](bool isOn) {
        shown_.reset();
        context_.tunnel.setStartAtLogin(isOn);
    });
    connect(autoConnect_, &Switch::toggled, this, [this](bool isOn) {
        shown_.reset();
        context_.tunnel.setAutoConnect(isOn);
    });
}

void SettingsView::addHelper(FormSection& section) {
    helper_ = addLabelled(section, QStringLiteral("Privileged helper"),
                          {.font = textFont(TextStyle::body), .hasCircle = true});
    addCaption(section, ColorRole::secondary,
               QStringLiteral("The helper allows connecting without a password prompt each time."));
    auto* const install =
        new BorderedButton(QStringLiteral("Install Helper..."), ColorRole::primary);
    installHelperRow_ = &section.addRow();
    installHelperRow_->add(install);
    installHelperRow_->addStretch();
    connect(install, &QPushButton::clicked, this,
            [this] { context_.tunnel.installHelper([](bool) {}); });
}

void SettingsView::addAbout(FormSection& section) {
    const QFont body = textFont(TextStyle::body);
    version_ = addLabelled(section, QStringLiteral("Version"), {.font = body});
    binary_ = addLabelled(section, QStringLiteral("Binary"),
                          {.font = monospacedFont(TextStyle::body), .color = ColorRole::primary});
    noBinary_ =
        addLabelled(section, QStringLiteral("Binary"), {.font = body, .color = ColorRole::red});
    installHintRow_ = &addCaption(section, ColorRole::secondary,
                                  QStringLiteral("Install the client binary first:"));
    installCommand_ = new CommandText(ColorRole::orange, FormSection::innerWidth);
    installCommandRow_ = &section.addRow(below);
    installCommandRow_->add(installCommand_);
    home_ = new LinkButton(TextStyle::body);
    homeRow_ = &section.addRow();
    homeRow_->add(home_);
    homeRow_->setOutset({LinkButton::outset.left(), 0, 0, 0});
    homeRow_->addStretch();
}

void SettingsView::addUninstall(FormSection& section) {
    auto* const uninstall =
        new BorderedButton(QStringLiteral("Uninstall Kestrelnet..."), ColorRole::red);
    FormRow& row = section.addRow();
    row.add(uninstall);
    row.addStretch();
    connect(uninstall, &QPushButton::clicked, this, [this] {
        state_.showUninstallConfirm = true;
        showOwnChange();
    });
}

int SettingsView::symbolSide() {
    return QFontMetrics(textFont(TextStyle::body)).height();
}

void SettingsView::save() {
    context_.tunnel.apiKey = state_.editingKey;
}

void SettingsView::uninstall() {
    context_.tunnel.uninstall([view = QPointer(this), terminate = context_.terminate] {
        if (view) {
            view->state_.showUninstallDone = true;
            view->showOwnChange();
        } else {
            // The window was closed meanwhile, but whoever asked for this wants to know.
            (new UninstallDone(nullptr, terminate))->show();
        }
    });
}

void SettingsView::showOwnChange() {
    dirty_ = true;
    refresh();
}

void SettingsView::noteChange() {
    dirty_ = true;
    if (isVisible()) {
        redraw_.request();
    }
}

void SettingsView::refresh() {
    if (!dirty_) {
        return;
    }
    dirty_ = false;
    SettingsContent content = settingsContent(context_.tunnel, state_, context_.facts);
    if (shown_ != content) {
        apply(content);
        shown_ = std::move(content);
    }
}

void SettingsView::apply(const SettingsContent& content) {
    applyKey(content);
    applyConnection(content);
    applyStartup(content);
    applyHelper(content);
    applyAbout(content);
    applyAlerts(content);
}

void SettingsView::applyKey(const SettingsContent& content) {
    key_->setEchoMode(content.masksKey ? QLineEdit::Password : QLineEdit::Normal);
    key_->setFont(content.masksKey ? textFont(TextStyle::body) : monospacedFont(TextStyle::body));
    showKey_->setText(qtText(content.showKeyLabel));
    save_->setEnabled(content.canSave);
    keySaved_->setVisible(content.isKeySaved);
}

void SettingsView::applyConnection(const SettingsContent& content) {
    status_.value->setCircle(content.statusColor);
    status_.value->setContent(qtText(content.statusText));
    exitIP_.show(content.exitIP);
    server_.show(content.server);
    toggleRow_->setVisible(content.connectButton.has_value());
    if (const auto& button = content.connectButton) {
        toggle_->setContent(button->symbol, qtText(button->label), button->tint);
    }
    lastLogRow_->setVisible(content.lastLog.has_value());
    lastLog_->setContent(qtText(content.lastLog.value_or("")));
}

void SettingsView::applyStartup(const SettingsContent& content) {
    const QSignalBlocker startBlocker(startAtLogin_);
    const QSignalBlocker connectBlocker(autoConnect_);
    startAtLogin_->setChecked(content.startAtLogin);
    autoConnect_->setChecked(content.autoConnect);
    autoConnect_->setEnabled(content.canChangeAutoConnect);
    helperNeededRow_->setVisible(content.needsHelperForAutoConnect);
}

void SettingsView::applyHelper(const SettingsContent& content) {
    helper_.value->setCircle(content.helperColor);
    helper_.value->setContent(qtText(content.helperText));
    installHelperRow_->setVisible(content.canInstallHelper);
}

void SettingsView::applyAbout(const SettingsContent& content) {
    version_.value->setContent(qtText(content.version));
    binary_.show(content.binary);
    noBinary_.show(content.binary ? std::nullopt : std::optional<std::string>("Not found"));
    installHintRow_->setVisible(content.installCommand.has_value());
    installCommandRow_->setVisible(content.installCommand.has_value());
    installCommand_->setText(qtText(content.installCommand.value_or("")));
    homeRow_->setVisible(content.home.has_value());
    if (content.home) {
        showLink(*home_, *content.home);
    }
}

void SettingsView::applyAlerts(const SettingsContent& content) {
    // They go with the view, as what their buttons do; one that takes its place asks again.
    const auto present = [this](QPointer<Alert>& alert, bool isWanted,
                                bool SettingsViewState::*flag, auto make) {
        if (!isWanted || alert) {
            return;
        }
        alert = make();
        // However it is dismissed.
        connect(alert, &QDialog::finished, this, [this, flag] {
            state_.*flag = false;
            noteChange();
        });
        alert->show();
    };
    present(confirm_, content.showsUninstallConfirm, &SettingsViewState::showUninstallConfirm,
            [this] { return new UninstallConfirm(this, [this] { uninstall(); }); });
    present(done_, content.showsUninstallDone, &SettingsViewState::showUninstallDone,
            [this] { return new UninstallDone(this, context_.terminate); });
}

void SettingsView::focusKeyField() {
    key_->setFocus(Qt::OtherFocusReason);
}

void SettingsView::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

} // namespace kestrelnet
