// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kestrelnet {

/// Plain HTTP requests with the library's defaults. Main thread only.
class URLSession {
  public:
    /// The body of an answer, whatever its HTTP status; nothing when the request failed.
    using Completion = std::function<void(std::optional<std::string> body)>;

    URLSession();
    /// Trusts the certificates in the PEM file as well as the system's authorities.
    explicit URLSession(std::string additionalAuthorities);
    ~URLSession();
    URLSession(const URLSession&) = delete;
    URLSession& operator=(const URLSession&) = delete;

    /// Starts one GET for `url` and returns; `completion` is called once, later, on the main
    /// thread. Requests are independent and finish in any order. Redirects are followed, never to a
    /// less safe scheme. A body past 1 MiB counts as a failure, so that no server can fill the
    /// memory. Destroying the session drops what is under way, and the completions with it.
    void data(const std::string& url, Completion completion);

  private:
    struct Connection;
    std::string additionalAuthorities_;
    std::unique_ptr<Connection> connection_;
};

} // namespace kestrelnet
