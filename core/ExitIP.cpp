// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"
#include "platform/Text.h"

namespace kestrelnet {

void TunnelManager::fetchExitIP() {
    // The strong reference keeps the controller alive until the lookup has ended. The text is not
    // checked. The last lookup to finish sets the value, even after a disconnect.
    platform_.urlSession->data(operator_.exitIPServiceURL,
                               [self = shared_from_this()](const std::optional<std::string>& body) {
                                   if (!body) {
                                       log::warning(log::Category::exitIP, "the lookup failed");
                                   } else if (!text::isValidUtf8(*body)) {
                                       log::warning(log::Category::exitIP,
                                                    "the answer is not UTF-8 text");
                                   } else {
                                       self->exitIP = text::trimWhitespaceAndNewlines(*body);
                                   }
                               });
}

} // namespace kestrelnet
