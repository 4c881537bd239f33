// SPDX-License-Identifier: MIT
#include "platform/linux/ActivationToken.h"

#include <QByteArray>
#include <QtGlobal>

namespace kestrelnet {

OfferedToken::OfferedToken(const QByteArray& token) : offered_(!token.isEmpty()) {
    if (offered_) {
        qputenv(activationTokenVariable, token);
    }
}

OfferedToken::~OfferedToken() {
    if (offered_) {
        qunsetenv(activationTokenVariable);
    }
}

} // namespace kestrelnet
