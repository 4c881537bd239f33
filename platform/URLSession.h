// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kestrelnet {

/// HTTP GET requests. Main thread only, with a Qt application.
class URLSession {
  public:
    /// Gets the body of the response, whatever its HTTP status; nothing when the request failed.
    using Completion = std::function<void(std::optional<std::string> body)>;

    /// `authorities` is a PEM file. Only servers with a certificate from one of its authorities are
    /// trusted; empty for the authorities of the system.
    explicit URLSession(std::string authorities = {});
    ~URLSession();
    URLSession(const URLSession&) = delete;
    URLSession& operator=(const URLSession&) = delete;

    /// Starts one GET request for the HTTP or HTTPS address `url` and returns. `completion` is
    /// called once, later, from the event loop; when the application starts to quit, it is dropped.
    ///
    /// Each request is made once, on a connection of its own, and may finish before earlier ones.
    /// Redirects are followed to HTTPS addresses. The proxy is the one in the environment
    /// (https_proxy, all_proxy, no_proxy). A request fails, with its reason in the log, when there
    /// is no connection after 30 s, when nothing arrives for 30 s, when the response breaks off,
    /// and when there are no descriptors, no memory or no threads for it.
    ///
    /// Two limits keep a server or a flood of requests from exhausting the memory:
    /// - A body of more than 1 MiB is a failure.
    /// - 256 requests are under way at a time, or a quarter of the limit of descriptors if that is
    ///   less. The others wait, and the newest starts first. It takes the place of the oldest that
    ///   has been under way for 2 s, which fails. So a request waits only while that many others
    ///   are younger than 2 s, however many hang. If more than 1000 wait, the oldest fails.
    ///
    /// Destroying the session drops all requests and their completions.
    void data(const std::string& url, Completion completion);

  private:
    struct Requests;
    const std::string authorities_;
    std::unique_ptr<Requests> requests_;
};

} // namespace kestrelnet
