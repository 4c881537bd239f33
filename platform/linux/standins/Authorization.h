// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// Asks for an administrator's password through polkit, then runs `command` as root with `runner`
/// (kestrelnet-run). Waits for the end of the command and returns its exit status. If the command
/// was not run, prints one line with the reason on standard error and returns 1.
///
/// SIGTERM, SIGINT or SIGHUP to this process withdraws the question or stops the command. So does
/// the end of the process that started this one, the application; this process then also removes
/// the files of the run, because the application cannot.
///
/// `pkexec` is the path of polkit's program. The calling process must have one thread.
int runAsAdministrator(const char* pkexec, const std::string& runner, const std::string& command);

} // namespace kestrelnet
