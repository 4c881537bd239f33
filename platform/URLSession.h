// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kestrelnet {

/// HTTP GET requests with the toolkit's default settings. Main thread only.
class URLSession {
  public:
    /// Gets the body of the response, whatever its HTTP status; nothing when the request failed.
    using Completion = std::function<void(std::optional<std::string> body)>;

    URLSession();
    ~URLSession();
    URLSession(const URLSession&) = delete;
    URLSession& operator=(const URLSession&) = delete;

    /// Starts one GET request for `url` and returns. `completion` is called once, later, from the
    /// event loop. Requests are independent and may finish in any order. Redirects are followed,
    /// but not from HTTPS to HTTP. A body of more than 1 MiB is a failure, so that a server cannot
    /// exhaust the memory. At most six requests run at a time; the next 1000 wait, and any beyond
    /// these fail. Destroying the session drops all requests and their completions.
    void data(const std::string& url, Completion completion);

  private:
    struct Connection;
    std::unique_ptr<Connection> connection_;
};

} // namespace kestrelnet
