// SPDX-License-Identifier: MIT
// On macOS the menu bar is always present.
#include "platform/TrayHost.h"

#include <QMetaObject>
#include <QObject>

#include <utility>

namespace kestrelnet {

class TrayHost::Watch {
  public:
    explicit Watch(std::function<void()> appeared) {
        if (appeared) {
            QMetaObject::invokeMethod(&context_, std::move(appeared), Qt::QueuedConnection);
        }
    }

  private:
    QObject context_;
};

TrayTraits trayTraits() {
    return {.opensMenuAtEachClick = true, .drawsShapeOnly = true};
}

TrayHost::TrayHost(Handlers handlers, std::chrono::milliseconds /*busPreference*/)
    : watch_(std::make_unique<Watch>(std::move(handlers.appeared))) {}

TrayHost::~TrayHost() = default;

} // namespace kestrelnet
