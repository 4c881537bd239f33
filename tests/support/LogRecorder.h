// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kestrelnet {

/// Switches log categories on and records their messages instead of writing them to standard error.
/// Restores both when destroyed. One at a time.
class LogRecorder {
  public:
    /// `rules` has the syntax of QT_LOGGING_RULES; none switches nothing on.
    explicit LogRecorder(const std::string& rules = "kestrelnet.*=true");
    ~LogRecorder();
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    /// The messages so far, from all threads, as "TYPE CATEGORY: TEXT", for example
    /// "warning kestrelnet.tunnel: cannot start".
    std::vector<std::string> messages() const;

  private:
    struct Handler;
    std::unique_ptr<Handler> handler_;
};

} // namespace kestrelnet
