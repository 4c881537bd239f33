// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// What the server says to one request.
struct TlsAnswer {
    enum class Ending {
        complete,
        /// Announces the whole body, sends half of it and closes the connection.
        drops,
        /// Announces the whole body, sends half of it and says no more.
        stalls,
    };

    int status = 200;
    std::string body = {};
    /// Where a redirect leads.
    std::string location = {};
    Ending ending = Ending::complete;
    /// Compresses the body for a client that accepts that.
    bool compresses = false;
    /// Sent only after release().
    bool held = false;
};

/// An HTTPS server on a free port of the loopback, in a thread of its own, with a certificate from
/// an authority of its own. The process trusts that authority, through the toolkit's default TLS
/// settings, until the server is destroyed. Connections stay open after an answer, for more
/// requests. One server at a time; any thread.
class TlsServer {
  public:
    TlsServer();
    ~TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::string url(std::string_view path = "/") const;
    /// Ends the trust in the authority: clients refuse the certificate from now on.
    void distrust();

    /// The n-th request to come gets the n-th answer given here, or else status 404.
    void enqueue(TlsAnswer answer);
    /// Every request for `path` gets this answer instead.
    void serve(std::string path, TlsAnswer answer);
    /// Lets the answer to the request of this number go, counted from 0; before or after it came.
    void release(std::size_t request);

    /// The paths of the requests so far, in the order they came.
    std::vector<std::string> requests() const;
    std::size_t requestCount() const { return requests().size(); }
    /// How many connections have been made so far, and how many of them are open.
    std::size_t connectionCount() const;
    std::size_t openConnectionCount() const;

  private:
    struct Server;
    std::unique_ptr<Server> server_;
};

} // namespace kestrelnet
