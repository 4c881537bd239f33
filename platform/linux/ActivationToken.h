// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QtGlobal>

namespace kestrelnet {

inline constexpr auto activationTokenVariable = "XDG_ACTIVATION_TOKEN";

/// Passes the compositor's permission to raise a window to the toolkit, for one request. The
/// toolkit reads it from the environment; it is removed afterwards, so that no child process
/// inherits it.
class OfferedToken {
  public:
    explicit OfferedToken(const QByteArray& token) : offered_(!token.isEmpty()) {
        if (offered_) {
            qputenv(activationTokenVariable, token);
        }
    }
    OfferedToken(const OfferedToken&) = delete;
    OfferedToken& operator=(const OfferedToken&) = delete;
    ~OfferedToken() {
        if (offered_) {
            qunsetenv(activationTokenVariable);
        }
    }

  private:
    bool offered_;
};

} // namespace kestrelnet
