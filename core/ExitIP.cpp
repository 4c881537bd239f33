// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Text.h"

namespace kestrelnet {

void TunnelManager::fetchExitIP() {
    // Held strongly: a lookup that is under way keeps the controller until it ends. Whatever text
    // the service answers is shown; the last lookup to finish wins, also after a disconnect.
    platform_.urlSession->data(operator_.exitIPServiceURL,
                               [self = shared_from_this()](const std::optional<std::string>& body) {
                                   if (body && text::isValidUtf8(*body)) {
                                       self->exitIP = text::trimWhitespaceAndNewlines(*body);
                                   }
                               });
}

} // namespace kestrelnet
