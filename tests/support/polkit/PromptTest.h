// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/FakeClient.h"
#include "tests/support/RootWorld.h"
#include "tests/support/Waiting.h"
#include "tests/support/polkit/PolkitWorld.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {

/// The controller, run by an ordinary user in a desktop session with polkit, as installed; the
/// client is the test's.
class PromptTest : public testing::Test {
  protected:
    static constexpr const char* exitLine = "log VPN process exited unexpectedly";

    void SetUp() override;
    void TearDown() override;

    /// Puts a client where the system has it.
    FakeClient& install(std::string_view mode, std::string_view argument = "");
    /// Starts the controller, with a key.
    void startController(const std::string& key = "dev_0123456789");
    /// Starts all it takes, and connects; waits for the client.
    FakeClient& connect(std::string_view mode = "relay-then-routes");
    /// Waits until the controller tells `line`.
    bool tells(std::string_view line) { return controller->reads(line); }

    /// The next line of the application's standard error.
    std::optional<std::string> readError();

    /// What there is but the bus, polkit, the agent and the controller.
    std::vector<rootWorld::Survivor> strays() const;
    /// Waits until there are none.
    bool isTidy() const;
    /// The program of the path `part` of the run, once it runs.
    std::optional<pid_t> find(std::string_view part) const;
    /// What lies in the user's temporary folder.
    static std::vector<std::string> runFiles();

    PolkitWorld world;
    std::optional<ChildProgram> controller;

  private:
    std::string errors_;
    std::size_t errorsRead_ = 0;
    std::vector<std::unique_ptr<FakeClient>> clients_;
};

} // namespace kestrelnet
