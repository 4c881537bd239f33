// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>

// What a command is for that a user wants to run as root. Each purpose has its own polkit action,
// whose message the password prompt shows. pkexec selects the action by the first argument of
// kestrelnet-run, which is the purpose's name. kestrelnet-run then checks that the command is one
// of this purpose, so that a message never stands for another command.
namespace kestrelnet::privileged::purpose {

/// Runs the launcher script in the user's temporary folder, with its output to the FIFO beside it.
constexpr const char* connect = "connect";
/// Runs the install-helper.sh of the bundle.
constexpr const char* install = "install";
/// Removes the helper.
constexpr const char* remove = "remove";
/// Runs any other command. The message shows the command line.
constexpr const char* command = "command";

/// The bundle of this program, which is in its Contents/Helpers; empty when it is not in a bundle.
std::string ownBundle();

/// The name of the purpose of `text`, a shell command that `user` wants to run as root.
///
/// A connect must have its two files in a folder that belongs to `user` and has the mode 0700. An
/// installation must be that of `bundle`.
const char* of(std::string_view text, uid_t user, std::string_view bundle);

} // namespace kestrelnet::privileged::purpose
