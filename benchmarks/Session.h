// SPDX-License-Identifier: MIT
// A person who uses the application, and the tunnel client that it runs.
#pragma once

#include "benchmarks/Surroundings.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrelnet::benchmarks {

/// One run of the application. Each function returns when its effect is seen from outside, and
/// gives up if it is not seen.
class Session {
  public:
    /// The exit IP service appends one byte to the file `answers` with each answer. The client must
    /// write nothing by itself.
    Session(Surroundings& around, const std::string& application, std::string answers);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const ChildProcess& program() const { return program_; }
    bool isConnected() const { return output_ >= 0; }

    /// Includes one lookup.
    void connect();
    void disconnect();
    void openPanel();
    void closePanel();
    void openSettings();
    void closeSettings();

    // The following need a connection.

    /// Lets the client report its routes `count` times, and waits for the lookups that follow.
    void lookUp(int count);
    /// Lets the client write.
    void write(std::string_view output);
    /// Waits until the application has read all that was written, so that what is written next
    /// belongs to another chunk.
    void awaitRead();
    /// Waits until the application has handled all that was written. Includes one lookup.
    void awaitHandled();
    /// Waits until the application has nothing to do.
    void awaitQuiet();

  private:
    void choose(const std::string& entry);
    void awaitStatus(const std::string& status);
    void toggleWindow(bool isOpen, const std::function<void()>& action, const char* failure);
    bool hasClient() const;
    void openClientOutput();
    std::uintmax_t answerCount() const;

    Surroundings& around_;
    const std::string answers_;
    const ChildProcess program_;
    int output_ = -1;
};

} // namespace kestrelnet::benchmarks
