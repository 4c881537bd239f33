// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

/// Watches the process that started this one, which is of the same session. Returns a descriptor
/// that becomes readable when it has ended, however it does; -1 when it has ended already or cannot
/// be watched.
int watchStarter();

} // namespace kestrelnet::privileged
