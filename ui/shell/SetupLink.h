// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

/// The device key that a link of the form kestrelnet://setup?key=KEY delivers, or nothing.
///
/// `url` is the link's raw text: toolkits put schemes and hosts into lower case, and
/// KESTRELNET://SETUP is no link of ours. It has to be a URL by the letter of RFC 3986; a stray
/// character or a broken percent escape anywhere in it makes it none.
std::optional<std::string> setupKey(std::string_view url);

} // namespace kestrelnet
