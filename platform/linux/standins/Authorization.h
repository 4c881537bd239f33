// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// Asks for an administrator's password, by polkit, and runs `command` as root with `runner`
/// (kestrelnet-run) once it was given. Returns when it has ended, with its exit status; when it was
/// not run, 1, after one line on standard error that says why.
///
/// SIGTERM, SIGINT or SIGHUP to this process takes the question back or stops the command, and so
/// does the end of the process that started this one; then the run's files are removed as well,
/// which nobody else knows of any more.
///
/// `pkexec` is polkit's program. For a process of one thread.
int runAsAdministrator(const char* pkexec, const std::string& runner, const std::string& command);

} // namespace kestrelnet
