// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kestrelnet {

/// Makes this process the only instance of the application in its session. Later instances and the
/// desktop find it under the application's name and ask it to show itself, to open links or to do
/// an action. Main thread only, after the Qt application has been created.
class ApplicationInstance {
  public:
    /// On Wayland, the permission to raise a window comes with the request and is valid only while
    /// the handler runs. So a handler must raise its window before it returns.
    struct Handlers {
        /// The user started the application again: show it.
        std::function<void()> activate;
        /// Open a link. On Linux it is passed on byte for byte, without any check. On macOS the
        /// toolkit gives only a parsed URL: scheme and host are in lower case.
        std::function<void(std::string url)> open;
        /// Do one of the actions. Never called on macOS.
        std::function<void(std::string action)> act = {};
    };

    enum class Acquisition {
        /// This process is the instance and must go on.
        acquired,
        /// There is no session bus. Go on; other instances cannot be detected.
        unavailable,
        /// Another process is the instance and has accepted the links or the activation. Exit with
        /// success.
        passedOn,
        /// Another process is the instance but has not answered in time. Tell the user, then exit
        /// with failure or, if the user agrees, call endOther(). Do not go on: two instances would
        /// both control the tunnel.
        unresponsive,
    };

    /// `name` is the application's reverse domain name, such as "org.example.App". On Linux it is
    /// the name on the session bus, and the object path follows from it; macOS does not use it.
    /// `actions` are the names of the actions that others can call. A call of any other action, or
    /// with a parameter, is refused at once.
    explicit ApplicationInstance(const std::string& name,
                                 const std::vector<std::string>& actions = {});
    /// Releases the name.
    ~ApplicationInstance();
    ApplicationInstance(const ApplicationInstance&) = delete;
    ApplicationInstance& operator=(const ApplicationInstance&) = delete;

    /// Must be called once, and again after endOther(). `urls` are the links that this process was
    /// started with. The instance opens them, whether it is this process or another one. Without
    /// links, another instance is activated. It has `patience` to answer.
    [[nodiscard]] Acquisition acquire(const std::vector<std::string>& urls = {},
                                      std::chrono::milliseconds patience = std::chrono::seconds(4));

    /// Kills the instance that has not answered, and waits for its end, for `patience` at most.
    /// Returns whether it has ended; false at once when it cannot be killed. A link that it was
    /// asked to open is lost.
    [[nodiscard]] bool endOther(std::chrono::milliseconds patience = std::chrono::seconds(4));

    /// Calls `handlers` for all requests, earlier ones included, in their order and from the event
    /// loop.
    void setHandlers(Handlers handlers);

  private:
    class Service;
    std::unique_ptr<Service> service_;
};

} // namespace kestrelnet
