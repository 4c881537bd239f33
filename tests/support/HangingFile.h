// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <sys/types.h>

namespace kestrelnet {

/// A file that a program of the user's serves by FUSE, and that never completes a write. For a root
/// world (tests/support/RootWorld.h), one at a time.
class HangingFile {
  public:
    HangingFile();
    /// Completes every write with an error, and removes the file.
    ~HangingFile();
    HangingFile(const HangingFile&) = delete;
    HangingFile& operator=(const HangingFile&) = delete;

    /// False where the system has no FUSE.
    bool isMounted() const { return isMounted_; }
    pid_t server() const { return server_; }

    static constexpr const char* path = "/tmp/hanging";
    /// Exists as soon as a process waits for a write.
    static constexpr const char* isWritten = "/tmp/hanging-write";

  private:
    template <typename Answer>
    void answer(std::uint64_t request, const Answer& answer) const;
    [[noreturn]] void serve() const;

    int device_;
    bool isMounted_ = false;
    pid_t server_ = -1;
};

} // namespace kestrelnet
