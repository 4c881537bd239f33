// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kestrelnet {

/// The one running instance of the application in a session: found by the others under the
/// application's name, and asked by them and by the desktop to come forward or to open links. Main
/// thread only, with the Qt application made.
class ApplicationInstance {
  public:
    /// Where the compositor grants the raising of windows request by request, the toolkit can make
    /// use of the grant while the handler runs, and only then. So windows are to be raised at once.
    struct Handlers {
        /// The user started the application once more: come forward.
        std::function<void()> activate;
        /// A link, byte for byte as it was delivered. Nothing about it has been checked.
        std::function<void(std::string url)> open;
    };

    enum class Acquisition {
        /// This process is the instance. Go on.
        acquired,
        /// Nobody can be asked, since there is no session bus. Go on; others may run beside it.
        unavailable,
        /// Another process is the instance, and has taken the links or the activation. End, with
        /// success.
        passedOn,
        /// Another process is the instance, but has not answered in time. Say so, and end with
        /// failure or, when the user wants that, end the other one by force: a second instance
        /// beside the first would fight with it for the tunnel.
        unresponsive,
    };

    ApplicationInstance();
    /// Gives the name up.
    ~ApplicationInstance();
    ApplicationInstance(const ApplicationInstance&) = delete;
    ApplicationInstance& operator=(const ApplicationInstance&) = delete;

    /// To be called once, and once more after endOther(). `urls` are the links that this process
    /// was started with: the instance opens them, be it this process or another one; when there are
    /// none, another one is activated. It gets up to `patience` to answer.
    [[nodiscard]] Acquisition acquire(const std::vector<std::string>& urls = {},
                                      std::chrono::milliseconds patience = std::chrono::seconds(4));

    /// Ends the process that has not answered by force; whether there is none any more within
    /// `patience`. A link that it was asked to open is lost with it.
    [[nodiscard]] bool endOther(std::chrono::milliseconds patience = std::chrono::seconds(4));

    /// From now on `handlers` are called, from the event loop and in the order of the requests.
    /// Requests that came earlier have waited for this.
    void setHandlers(Handlers handlers);

  private:
    class Service;
    std::unique_ptr<Service> service_;
};

} // namespace kestrelnet
