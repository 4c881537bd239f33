// SPDX-License-Identifier: MIT
// The part of the URL session that needs the HTTP library. It is a module that is loaded at the
// first request, because loading the library costs time and memory at every start.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {

/// HTTP GET requests that run side by side on the thread that created the object. Only wake() may
/// be called on another thread. Requests have numbers that the caller chooses.
class URLTransfers {
  public:
    using Number = std::uint64_t;

    struct End {
        Number request;
        /// Nothing when the request failed.
        std::optional<std::string> body;
        /// Why it failed.
        std::string reason;
    };

    URLTransfers() = default;
    URLTransfers(const URLTransfers&) = delete;
    URLTransfers& operator=(const URLTransfers&) = delete;
    /// Drops all requests without waiting for anything.
    virtual ~URLTransfers() = default;

    /// Starts a request. When it cannot be started, the next perform() returns its end.
    virtual void start(Number request, const std::string& url) = 0;
    /// Ends a request without waiting for anything. Does nothing if it has ended.
    virtual void drop(Number request) = 0;
    /// Waits until a connection is ready, wake() is called, or `timeout` has passed, whichever is
    /// first. Then continues all requests and returns those that have ended.
    virtual std::vector<End> perform(std::chrono::milliseconds timeout) = 0;
    /// Lets the perform() that runs, or the next one, return at once. Any thread.
    virtual void wake() = 0;
};

/// The type and the name of the one function that the module exports. The caller owns the result,
/// which is null on failure. `authorities` is described at the constructor of `URLSession`. Not
/// more than `mostConnections` are open at once; a request beyond them waits.
using MakeURLTransfers = URLTransfers*(const std::string& authorities, std::size_t mostConnections);
inline constexpr char makeURLTransfersName[] = "kestrelnetMakeURLTransfers";

} // namespace kestrelnet
