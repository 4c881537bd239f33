// SPDX-License-Identifier: MIT
// The storm by the helper and behind the administrator prompt. The environment variable
// KESTRELNET_STORM_ROUNDS sets the number of rounds of both tests together; see scripts/storm.
#include "tests/privileged/Storm.h"

#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using std::chrono::microseconds;
using StormTest = Storm;

/// The numbers of rounds by the helper and by prompt.
struct Rounds {
    int byHelper;
    int byPrompt;
};

Rounds wantedRounds() {
    constexpr int few = 40;
    // A round by prompt takes more than a second.
    constexpr int promptShare = 10;
    const char* const given = std::getenv("KESTRELNET_STORM_ROUNDS");
    const int all = given == nullptr ? few : std::stoi(given);
    const int byPrompt = all / promptShare;
    return {.byHelper = all - byPrompt, .byPrompt = byPrompt};
}

microseconds upTo(int most, std::mt19937& random) {
    return microseconds(std::uniform_int_distribution<int>(0, most)(random));
}

/// The question is open for a quarter of a second. The shell then waits for the reader of its
/// output, which starts after one second.
microseconds momentByPrompt(std::mt19937& random) {
    using namespace std::chrono_literals;
    switch (std::uniform_int_distribution<int>(1, 8)(random)) {
    case 1:
    case 2:
        return upTo(300'000, random);
    case 3:
        return 300ms + upTo(700'000, random);
    default:
        return 1s + upTo(150'000, random);
    }
}

TEST_F(StormTest, nothingIsLeftOfRunsByTheHelper) {
    const std::string folder = "/Library/PrivilegedHelperTools";
    const std::string helper = rootWorld::install(
        rootWorld::bundle + "/Contents/Helpers/com.kestrelnetvpn.tunnel", folder);
    ASSERT_EQ(::chmod(helper.c_str(), 04755), 0);
    runStorm({.name = "by the helper",
              .isByPrompt = false,
              .roles = {Role::application, Role::front, Role::guard, Role::client},
              .intermediary = Role::front,
              .slots = 7,
              // From before the start to well after it.
              .moment = [](std::mt19937& random) { return upTo(40'000, random); },
              .installClient =
                  [&folder](const FakeClient& client) {
                      client.installProgramAt(folder + "/kestrelnet-client");
                      // The application connects only when it finds a client.
                      client.installAt("/usr/local/bin/kestrelnet-client");
                  }},
             wantedRounds().byHelper);
    fs::remove_all(folder);
}

TEST_F(StormTest, nothingIsLeftOfRunsByPrompt) {
    world.startPolkit();
    int batches = 0;
    runStorm(
        {.name = "by prompt",
         .isByPrompt = true,
         .roles = {Role::application, Role::osascript, Role::pkexec, Role::front, Role::guard,
                   Role::shell, Role::client},
         .intermediary = Role::osascript,
         .slots = 1,
         .moment = momentByPrompt,
         .installClient =
             [](const FakeClient& client) { client.installAt("/usr/local/bin/kestrelnet-client"); },
         .prepareBatch =
             [this, &batches] {
                 // The agent writes to a pipe that is not read, and that holds its output of this
                 // many rounds.
                 constexpr int most = 50;
                 if (batches++ % most == 0) {
                     world.startAgent("right");
                 }
             }},
        wantedRounds().byPrompt);
}

} // namespace
} // namespace kestrelnet
