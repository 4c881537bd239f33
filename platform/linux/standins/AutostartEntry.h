// SPDX-License-Identifier: MIT
// Translates a login agent into an entry of the user's autostart folder.
#pragma once

#include "platform/Error.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrelnet {

/// The content of a property list that starts a program at login.
struct LaunchAgent {
    /// A file name without a folder.
    std::string label;
    /// The absolute path of the program, then its arguments.
    std::vector<std::string> arguments;
    bool runAtLoad = false;

    bool operator==(const LaunchAgent&) const = default;
};

/// Reads the property list `text`. "/usr/bin/open -a BUNDLE" is replaced by the bundle's program.
/// Returns the reason if `text` describes no agent.
std::variant<LaunchAgent, Error> launchAgent(std::string_view text);

/// Whether `text` can be a label: a file name that is not hidden.
bool isLabel(std::string_view text);

/// The desktop entry that starts the agent's program if the program is installed.
std::string autostartEntry(const LaunchAgent& agent);

/// The user's autostart folder: below $XDG_CONFIG_HOME, or $HOME/.config, or the account's home
/// when neither is an absolute path.
std::string autostartFolder();

} // namespace kestrelnet
