// SPDX-License-Identifier: MIT
#include "platform/Appearance.h"

#include "platform/linux/PortalSettings.h"
#include "platform/linux/ScreenResolution.h"

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
          screen_([this] { compare(); }) {}

    const DesktopPreferences& preferences() const { return preferences_; }

  private:
    void compare() {
        DesktopPreferences next = preferencesFrom(portal_.values(), isKde_);
        next.textScale = screen_.scaleToApply(next.textScale);
        if (std::exchange(preferences_, next) != next && changed_) {
            changed_();
        }
    }

    Changed changed_;
    bool isKde_;
    DesktopPreferences preferences_;
    PortalSettings portal_;
    ScreenResolution screen_;
};

Appearance::Appearance(Changed changed) : source_(std::make_unique<Source>(std::move(changed))) {}

Appearance::~Appearance() = default;

DesktopPreferences Appearance::preferences() const {
    return source_->preferences();
}

} // namespace kestrelnet
