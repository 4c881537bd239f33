// SPDX-License-Identifier: MIT
#pragma once

class QByteArray;

namespace kestrelnet {

inline constexpr auto activationTokenVariable = "XDG_ACTIVATION_TOKEN";

/// Passes the compositor's permission to raise a window to the toolkit, for one request. The
/// toolkit reads it from the environment; it is removed afterwards, so that no child process
/// inherits it. Main thread only.
class OfferedToken {
  public:
    /// Does nothing if `token` is empty.
    explicit OfferedToken(const QByteArray& token);
    OfferedToken(const OfferedToken&) = delete;
    OfferedToken& operator=(const OfferedToken&) = delete;
    ~OfferedToken();

  private:
    bool offered_;
};

} // namespace kestrelnet
