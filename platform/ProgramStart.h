// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet {

/// Whether a person has started this program, from a menu or a terminal. Otherwise the desktop
/// session has, at login, or the session bus, to deliver a request. `quietVariable` is the
/// environment variable that marks such a start; it is removed, so that no child process inherits
/// it. To be called once, before there are other threads.
///
/// macOS does not tell a start at login from another one, so there it is never a person.
bool startedByPerson(const char* quietVariable);

} // namespace kestrelnet
