// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/Relay.h"

#include <array>
#include <vector>

namespace kestrelnet::privileged {

/// What connects the front, an unprivileged process that holds the caller's streams, with the
/// guard, a root process that holds none of them, not even for the moment of its fork: to close a
/// file that a program of the user's serves may take for ever.
class Connection {
  public:
    /// Makes sockets and pipes, and puts the caller's standard output and error aside: until
    /// `becomeFront`, the standard streams are the null device. Ignores SIGPIPE from then on,
    /// because the other process may end at any time. Returns whether that worked.
    bool open();

    /// In the guard: standard output and error are pipes to the front, standard input is empty. The
    /// pipes' reading ends stay open too: without the front, a client that is cleaning up may still
    /// write.
    bool becomeGuard();
    /// In the front, also when there is no guard: restores the caller's streams.
    bool becomeFront();

    /// The socket to the other process, after one of the calls above.
    int socket() const { return socket_; }
    /// Copies the run's output to the caller's streams, for the front.
    std::vector<Relay> relays() const;

  private:
    /// Two descriptors: of the sockets, the front's first; of the pipes, the reading end first.
    using Ends = std::array<int, 2>;

    bool openPipes();
    bool putStreamsAside();

    Ends sockets_{-1, -1};
    /// Holds the caller's streams as a message to ourselves.
    Ends aside_{-1, -1};
    Ends output_{-1, -1};
    /// The same as `output_` where the caller's two streams are known to be one: that keeps the
    /// order of what is written to them.
    Ends errors_{-1, -1};
    int socket_ = -1;
};

} // namespace kestrelnet::privileged
