// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/ChildProgram.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {

/// A system bus with polkit's own daemon, and an ordinary user's desktop session as the login
/// service would register it, without that service. Only in a root world, see
/// tests/support/RootWorld.h: it writes to /run, and makes control groups.
class PolkitWorld {
  public:
    /// The session that the user's programs run in.
    static constexpr const char* session = "c1";

    PolkitWorld();
    ~PolkitWorld();
    PolkitWorld(const PolkitWorld&) = delete;
    PolkitWorld& operator=(const PolkitWorld&) = delete;

    /// Also called by what needs it; a bus without polkit is what a system without it has.
    void startPolkit();

    /// `command` as the user in the session, without a terminal, with a fresh environment.
    static std::vector<std::string> inSession(std::vector<std::string> command);

    /// Starts an agent for the session that answers as tests/support/polkit/authentication-agent
    /// says, and waits until it is registered.
    ChildProgram& startAgent(const std::string& answer);
    /// Ends the agent.
    void stopAgent() { agent_.reset(); }

  private:
    std::optional<ChildProgram> bus_;
    std::optional<ChildProgram> polkit_;
    std::optional<ChildProgram> agent_;
};

} // namespace kestrelnet
