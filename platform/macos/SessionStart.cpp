// SPDX-License-Identifier: MIT
#include "platform/SessionStart.h"

namespace kestrelnet {

class SessionStart::Watch {};

SessionStart::SessionStart(std::function<void()> /*completed*/) {}

SessionStart::~SessionStart() = default;

} // namespace kestrelnet
