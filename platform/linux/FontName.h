// SPDX-License-Identifier: MIT
// The two ways in which desktops write a font. Both functions accept any text, and return no font
// for text that names none. A size outside of the range that a program can show is left out.
#pragma once

#include "platform/DesktopPreferences.h"

#include <optional>
#include <string_view>

namespace kestrelnet {

/// A description as GNOME and its relatives write it: "Noto Sans Bold Italic 11".
std::optional<DesktopFont> fontFromDescription(std::string_view text);

/// A list of fields as KDE writes it: "Noto Sans,10,-1,5,50,0,0,0,0,0".
std::optional<DesktopFont> fontFromFields(std::string_view text);

} // namespace kestrelnet
