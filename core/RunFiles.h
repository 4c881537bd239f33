// SPDX-License-Identifier: MIT
#pragma once

/// The names of the files of a run behind the administrator prompt, in the temporary folder. The
/// application removes the files when the run ends. When the application ended first, the program
/// that shows the prompt (osascript) removes them.
namespace kestrelnet::runFiles {

inline constexpr const char* launcher = "kestrelnet-launcher.sh";
inline constexpr const char* outputPipe = "kestrelnet-output.fifo";

} // namespace kestrelnet::runFiles
