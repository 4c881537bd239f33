// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kestrelnet {

struct Notification {
    std::string summary;
    /// Plain text: nothing in it is taken as markup.
    std::string body;
    /// Called when the user clicks on the notification. On Wayland, the permission to raise a
    /// window is valid only while this runs. May be empty.
    std::function<void()> opened;
};

/// Shows one notification of the desktop at a time. Returns at once in any case, and does nothing
/// where nothing shows notifications; that is only logged. Main thread only, after the Qt
/// application has been created.
class Notifier {
  public:
    /// Who notifies.
    struct Sender {
        std::string name;
        /// The reverse domain name, which is also the name of the desktop entry and of the icon. On
        /// macOS the system takes both from the bundle.
        std::string identifier;
    };

    explicit Notifier(Sender sender);
    /// Leaves the notification on the screen.
    ~Notifier();
    Notifier(const Notifier&) = delete;
    Notifier& operator=(const Notifier&) = delete;

    /// Replaces the notification shown before.
    void show(Notification notification);
    /// Closes the notification, also one that is still on its way to the desktop.
    void withdraw();

  private:
    class Service;
    std::unique_ptr<Service> service_;
};

} // namespace kestrelnet
