// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "core/TunnelStatus.h"
#include "platform/Dispatch.h"
#include "platform/Notifier.h"

#include <QObject>

#include <cstdint>
#include <functional>
#include <memory>

namespace kestrelnet {

class TunnelManager;

/// Tells the user that a tunnel which was connected has ended by itself. The icon alone is easily
/// overlooked.
///
/// The controller does not record that a stop was requested. Such a stop shows an error as well,
/// until its clean-up a moment later. So only an error that stays for a second is told. Main thread
/// only.
class DropWatch final : public QObject {
  public:
    static constexpr Seconds patience{1};

    struct Actions {
        std::function<void(const Notification&)> tell;
        /// Called when the status is no longer the error that was told.
        std::function<void()> withdraw;
        /// Passed on with the notification.
        std::function<void()> opened;
    };

    /// `tunnel` must outlive this object.
    DropWatch(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions);

  private:
    void noteChange();
    void look();
    void lookAgain();
    void awaitPatience();
    void tellIfPending(std::uint64_t drop);

    const TunnelManager& tunnel_;
    std::shared_ptr<Queue> mainQueue_;
    Actions actions_;
    TunnelStatus seen_;
    bool wasConnected_ = false;
    bool willLook_ = false;
    bool isTold_ = false;
    /// The number of the latest drop, and of the one that waits to be told; 0 without one.
    std::uint64_t latestDrop_ = 0;
    std::uint64_t pendingDrop_ = 0;
    ObservableObjectPublisher::Subscription subscription_;
};

/// What the user is told: the controller's last line as plain text on one line. The line may come
/// from the client, so it is shortened, and a device key in it is left out.
Notification dropNotification(const TunnelManager& tunnel);

} // namespace kestrelnet
