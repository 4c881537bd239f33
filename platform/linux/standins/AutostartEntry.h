// SPDX-License-Identifier: MIT
// A login agent as a desktop session knows it: an entry in the user's autostart folder.
#pragma once

#include "platform/Error.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrelnet {

/// What a property list says about a program that is to be started at login.
struct LaunchAgent {
    /// The plain name of a file.
    std::string label;
    /// The program, by its absolute path, and its arguments.
    std::vector<std::string> arguments;
    bool runAtLoad = false;

    bool operator==(const LaunchAgent&) const = default;
};

/// The agent that `text`, a property list, describes; "/usr/bin/open -a BUNDLE" in it stands for
/// the bundle's own program. Or why it describes none.
std::variant<LaunchAgent, Error> launchAgent(std::string_view text);

/// The desktop entry that starts the agent's program as long as that is there.
std::string autostartEntry(const LaunchAgent& agent);

/// The user's autostart folder: below $XDG_CONFIG_HOME, or $HOME/.config, or the account's home
/// when neither is an absolute path.
std::string autostartFolder();

} // namespace kestrelnet
