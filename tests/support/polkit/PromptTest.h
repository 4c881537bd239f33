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
#include <string_view>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace kestrelnet {

/// Runs the installed controller as an ordinary user in a desktop session with polkit, and a client
/// that the test controls.
class PromptTest : public testing::Test {
  protected:
    static constexpr const char* exitLine = "log VPN process exited unexpectedly";

    void SetUp() override;
    void TearDown() override;

    /// Installs a client at the system's path.
    FakeClient& install(std::string_view mode, std::string_view argument = "");
    /// Starts the controller and sets the key.
    void startController(const std::string& key = "dev_0123456789");
    /// Installs a client, starts the controller, connects, and waits for the client.
    FakeClient& connect(std::string_view mode = "relay-then-routes",
                        std::string_view argument = "");
    /// The same with a shell script as client, which creates the file /tmp/ready.
    void connectScript(const std::string& text);
    /// Waits until the controller prints `line`.
    bool tells(std::string_view line) { return controller->reads(line); }

    /// The next line of the application's standard error.
    std::optional<std::string> readError();

    /// The processes of the world except the bus, polkit, the agent and the controller.
    std::vector<rootWorld::Survivor> strays() const;
    /// Waits until there are no such processes and no files of a run; returns whether that is so.
    bool isTidy() const;
    /// The process of the run whose command line contains `part`, once there is one.
    std::optional<pid_t> find(std::string_view part) const;
    /// Front and guard of kestrelnet-run.
    std::pair<pid_t, pid_t> processesOfTheRunner() const;
    /// The files of a run in the user's temporary folder.
    static std::vector<std::string> runFiles();

    PolkitWorld world;
    std::optional<ChildProgram> controller;

  private:
    std::string errors_;
    std::size_t errorsRead_ = 0;
    std::vector<std::unique_ptr<FakeClient>> clients_;
};

} // namespace kestrelnet
