// SPDX-License-Identifier: MIT
// What the system says about processes. The sources are in one folder per system.
#pragma once

#include <cstddef>
#include <string>

namespace kestrelnet {

/// The number of open descriptors and of threads of this process.
std::size_t openDescriptors();
std::size_t runningThreads();
/// How many bytes of this process are in memory.
std::size_t residentMemory();

/// Whether there is a process `pid` that has not ended.
bool isAlive(int pid);
/// The words of the command line of the process `pid`, each ended by a NUL; empty if there is no
/// such process.
std::string commandLine(int pid);
/// A name for what the process `pid` has open as `descriptor`: the same name for the same file or
/// pipe. Empty if the descriptor is not open.
std::string openFile(int pid, int descriptor);
/// The number of unread bytes in the pipe whose writing end the process `pid` has open as
/// `descriptor`; 0 if that is not open.
int unreadBytes(int pid, int descriptor);

/// The present identifier of the process that wrote that it is `pid` in the process space `space`;
/// see fake-client/Facts.h. When that space has ended, an identifier that no process has.
int identifierHere(int pid, const std::string& space);

} // namespace kestrelnet
