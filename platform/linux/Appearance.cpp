// SPDX-License-Identifier: MIT
#include "platform/Appearance.h"

#include "platform/linux/PortalSettings.h"
#include "platform/linux/ScreenResolution.h"
#include "platform/linux/XSettings.h"

#include <QByteArray>
#include <QList>
#include <QtGlobal>

#include <utility>

namespace kestrelnet {

namespace {

bool isKde() {
    return qgetenv("XDG_CURRENT_DESKTOP").split(':').contains("KDE");
}

} // namespace

class Appearance::Source {
  public:
    explicit Source(Changed changed)
        : changed_(std::move(changed)), isKde_(isKde()), portal_([this] { compare(); }),
          x11_([this] { compare(); }), screen_([this] { compare(); }) {
        preferences_ = current();
    }

    const DesktopPreferences& preferences() const { return preferences_; }

  private:
    void compare() {
        DesktopPreferences next = current();
        if (std::exchange(preferences_, next) != next && changed_) {
            changed_();
        }
    }

    DesktopPreferences current() const {
        DesktopSettings settings = portal_.values();
        settings.insert_or_assign(x11Group, x11_.values());
        DesktopPreferences result = preferencesFrom(settings, isKde_);
        result.textScale = screen_.scaleToApply(result.textScale);
        return result;
    }

    Changed changed_;
    bool isKde_;
    DesktopPreferences preferences_;
    PortalSettings portal_;
    XSettings x11_;
    ScreenResolution screen_;
};

Appearance::Appearance(Changed changed) : source_(std::make_unique<Source>(std::move(changed))) {}

Appearance::~Appearance() = default;

DesktopPreferences Appearance::preferences() const {
    return source_->preferences();
}

} // namespace kestrelnet
