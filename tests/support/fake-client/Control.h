// SPDX-License-Identifier: MIT
// What the modes share: the folder, the output and the control pipe.
#pragma once

#include <string>
#include <string_view>

namespace fakeClient {

/// Sets the folder of this run. To be called first.
void setFolder(const std::string& path);
/// The path of `name` in the folder.
std::string inFolder(std::string_view name);
/// Creates the file `name` in the folder atomically with its content.
void publish(std::string_view name, std::string_view text);
/// Writes the identifier of this process, and the space in which it counts, to the file `name`.
void publishProcess(std::string_view name);

/// Writes `bytes` with one write(). Exits if that fails.
void say(int stream, std::string_view bytes);
/// Writes `bytes` with as many calls as needed. Exits if one fails.
void sayAll(int stream, std::string_view bytes);

/// Writes to standard output, which may have no reader.
void tryToSay(std::string_view bytes);

/// Opens the control pipe and returns its descriptor.
int openControl();
/// Handles commands of the control pipe. Exits when the test has closed it.
[[noreturn]] void obey();

} // namespace fakeClient
