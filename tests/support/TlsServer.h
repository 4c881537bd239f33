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
        /// Announces the whole body, sends half of it, and then sends nothing.
        stalls,
    };

    int status = 200;
    std::string body = {};
    /// The value of the Location header; empty for none.
    std::string location = {};
    Ending ending = Ending::complete;
    /// Compresses the body if the client accepts that.
    bool compresses = false;
    /// Sent only after release().
    bool held = false;
};

/// An HTTPS server on a free port of the loopback interface, on its own thread, with a certificate
/// from its own authority. The process trusts that authority, through the toolkit's default TLS
/// settings, until the server is destroyed. Connections stay open after an answer. One server at a
/// time; any thread.
class TlsServer {
  public:
    TlsServer();
    ~TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::string url(std::string_view path = "/") const;
    /// Ends the trust in the authority: clients refuse the certificate from now on.
    void distrust();

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
