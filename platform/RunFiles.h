// SPDX-License-Identifier: MIT
#pragma once

// The files of a run behind the administrator prompt, in the user's temporary folder. Whoever is
// the last to know of the run removes them.
namespace kestrelnet::runFiles {

constexpr const char* launcher = "kestrelnet-launcher.sh";
constexpr const char* outputPipe = "kestrelnet-output.fifo";

} // namespace kestrelnet::runFiles
