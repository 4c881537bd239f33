// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// The server's answer to one request.
struct TlsAnswer {
    enum class Ending {
        complete,
        /// Announces the whole body, sends half of it, and closes the connection.
        drops,
        /// The same, but resets the connection.
        resets,
        /// Announces the whole body, sends half of it, and then sends nothing.
        stalls,
        /// Sends nothing and closes the connection.
        closesUnanswered,
        /// Sends nothing and resets the connection.
        resetsUnanswered,
    };

    int status = 200;
    std::string body = {};
    /// The value of the Location header; empty for none.
    std::string location = {};
    Ending ending = Ending::complete;
    /// Sends the body as one chunk, and when it is complete a last, empty one, instead of
    /// announcing its length.
    bool chunked = false;
    /// Compresses the body if the client accepts that.
    bool compresses = false;
    /// Sent only after release().
    bool held = false;
};

/// An HTTPS server on a free port of the loopback interface, on its own thread, with a certificate
/// for 127.0.0.1 and service.test from its own authority. Connections stay open after an answer.
/// Any thread.
class TlsServer {
  public:
    TlsServer();
    ~TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::string url(std::string_view path = "/") const;
    /// The same with another name of the host.
    std::string urlOf(std::string_view host) const;
    /// The file with the authority.
    std::string authorities() const;

    /// The n-th request gets the n-th answer that was given here; without one, status 404.
    void enqueue(TlsAnswer answer);
    /// Every request for `path` gets this answer instead.
    void serve(std::string path, TlsAnswer answer);
    /// Sends the held answer to the request of this number, counted from 0. May be called before
    /// the request arrives.
    void release(std::size_t request);

    /// The paths of all requests so far, in their order.
    std::vector<std::string> requests() const;
    std::size_t requestCount() const { return requests().size(); }
    /// The number of connections so far, and of those that are open.
    std::size_t connectionCount() const;
    std::size_t openConnectionCount() const;

  private:
    struct Server;
    std::unique_ptr<Server> server_;
};

} // namespace kestrelnet
