// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>
#include <system_error>

/// Diagnostic messages on standard error. Errors are always written. All other messages are off,
/// warnings included, until the environment variable QT_LOGGING_RULES switches them on:
/// "kestrelnet.*=true" for all categories, "kestrelnet.exitip=true" for one. Any thread.
///
/// A message must never contain the device key, nor text that may repeat it, such as the client's
/// output.
namespace kestrelnet::log {

/// What a message is about. The names for QT_LOGGING_RULES are in the comments.
enum class Category {
    tunnel,   ///< kestrelnet.tunnel: starts, stops and ends of the client, and the status.
    output,   ///< kestrelnet.output: reading the client's output.
    exitIP,   ///< kestrelnet.exitip: lookups of the exit IP.
    settings, ///< kestrelnet.settings: the settings store.
    system,   ///< kestrelnet.system: helper installation, login agent, uninstalling, threads,
              ///< signals.
    desktop,  ///< kestrelnet.desktop: session bus, tray, application instance.
};

/// Normal events, for example a change of status.
void debug(Category category, std::string_view message);

/// Failures that the program otherwise ignores.
void warning(Category category, std::string_view message);
/// Appends the system's text for `reason`.
void warning(Category category, std::string_view message, std::error_code reason);

/// Failures by which the user loses something.
void error(Category category, std::string_view message, std::error_code reason);

/// Whether messages of the category are written, debug messages included. Saves the work to build
/// a message that nobody reads.
bool isEnabled(Category category);

} // namespace kestrelnet::log
