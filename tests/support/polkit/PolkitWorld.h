// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/ChildProgram.h"

#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {

/// A system bus with the real polkit daemon, and a desktop session of an ordinary user, registered
/// as the login service does. Needs a root world (tests/support/RootWorld.h), because it writes to
/// /run and creates control groups.
class PolkitWorld {
  public:
    /// The session of the user's programs.
    static constexpr const char* session = "c1";

    PolkitWorld();
    ~PolkitWorld();
    PolkitWorld(const PolkitWorld&) = delete;
    PolkitWorld& operator=(const PolkitWorld&) = delete;

    /// Not started by the constructor, so that tests can run on a system without polkit.
    void startPolkit();

    /// The command that runs `command` as the user in the session, without a terminal, with a new
    /// environment.
    static std::vector<std::string> inSession(std::vector<std::string> command);

    /// Starts tests/support/polkit/authentication-agent with `answer` for the session, and waits
    /// until it is registered.
    ChildProgram& startAgent(const std::string& answer);
    /// Ends the agent.
    void stopAgent() { agent_.reset(); }

  private:
    std::optional<ChildProgram> bus_;
    std::optional<ChildProgram> polkit_;
    std::optional<ChildProgram> agent_;
};

} // namespace kestrelnet
