// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <sys/types.h>

namespace kestrelnet {

/// A process, referred to by a descriptor (pidfd) instead of its identifier: when the process has
/// ended and its identifier belongs to another process, the descriptor still refers to the first.
/// Failures of the system are logged.
class HeldProcess {
  public:
    enum class State {
        /// The descriptor refers to the process.
        held,
        /// There is no process with this identifier.
        missing,
        /// The system gave no descriptor: none is left, or it has no such descriptors.
        unsupported,
    };

    /// The caller must check afterwards that `pid` still is the process that it means.
    explicit HeldProcess(pid_t pid);
    ~HeldProcess();
    HeldProcess(const HeldProcess&) = delete;
    HeldProcess& operator=(const HeldProcess&) = delete;

    State state() const { return state_; }

    /// Sends `signal`. Returns false when the process is not held or may not be signalled.
    [[nodiscard]] bool kill(int signal) const;
    /// Waits for the end of the process, for `patience` at most. Returns whether it has ended: at
    /// once when it is not held, and then true only if it is missing.
    [[nodiscard]] bool endsWithin(std::chrono::milliseconds patience) const;

  private:
    int descriptor_;
    State state_;
};

} // namespace kestrelnet
