// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <poll.h>
#include <string>

namespace kestrelnet::privileged {

/// Copies what a run writes into a pipe to one of the caller's streams, and never waits for either.
///
/// No root process may write to a stream of the caller's: it may be a full pipe, or a file that a
/// program of the user's serves, and a process that waits for such a file cannot be killed.
///
/// When nobody reads the caller's stream any more, the output is discarded: SIGPIPE would kill a
/// client that is cleaning up.
class Relay {
  public:
    /// `from` is the reading end of a pipe, non-blocking; `to` is the caller's stream.
    Relay(int from, int to);

    using Events = std::array<pollfd, 2>;

    /// What to poll for before the next call of `copy`.
    Events awaited() const;
    /// Copies what can be copied at once; `events` is the result of poll().
    void copy(const Events& events);
    /// Whether nothing is left to copy at the moment.
    bool isEmpty() const;

  private:
    void move();
    void moveByCopying();
    void giveUp();
    void discard();

    /// -1 after its end.
    int from_;
    /// -1 when nobody reads it.
    int to_;
    bool isPipe_;
    /// What is read from `from_` but not yet written to a pipe, see PipeTransfer.h.
    std::string rest_;
};

} // namespace kestrelnet::privileged
