// SPDX-License-Identifier: MIT
#include "ui/shell/PanelAtStart.h"

#include <algorithm>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

/// The time that a session takes to start.
constexpr auto sessionStart = 10s;
/// A desktop's panel registers with the session manager before it offers its tray, so a session may
/// call itself complete too early.
constexpr auto panelStart = 2s;

} // namespace

PanelAtStart::PanelAtStart(StartCause cause, Clock::Time now)
    : isForPerson_(cause == StartCause::person),
      deadline_(cause == StartCause::session ? now + sessionStart : now) {}

void PanelAtStart::sessionCompleted(Clock::Time now) {
    deadline_ = std::min(deadline_, now + panelStart);
}

void PanelAtStart::personCame(Clock::Time now) {
    deadline_ = std::min(deadline_, now);
}

std::optional<Clock::Time> PanelAtStart::opensAt() const {
    const bool isWanted = tray_ == Tray::absent || (tray_ == Tray::present && isForPerson_);
    return isWanted && !isDone_ ? std::optional(deadline_) : std::nullopt;
}

} // namespace kestrelnet
