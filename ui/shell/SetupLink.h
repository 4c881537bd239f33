// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

/// Returns the device key in a link of the form kestrelnet://setup?key=KEY or
/// kestrelnet:setup?key=KEY, or nothing if the link or its key is not valid.
///
/// `url` is the raw text of the link. Scheme and host are case-sensitive: KESTRELNET://SETUP is not
/// valid. (macOS delivers both in lower case, so such a link is accepted there.) The link must be a
/// URL according to RFC 3986: a character that is not allowed or an incomplete percent escape makes
/// it invalid. The cost is linear in the length of the link.
std::optional<std::string> setupKey(std::string_view url);

} // namespace kestrelnet
