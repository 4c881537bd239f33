// SPDX-License-Identifier: MIT
// The program as a real process where the toolkit cannot start.
#include "tests/support/ChildProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* hint = "no graphical display can be reached";

struct Outcome {
    /// Nothing if a signal ended the program, as an abort does.
    std::optional<int> exitStatus;
    std::string errors;
};

/// Starts the program without a display, with `variables` added to the environment.
Outcome start(const Environment& variables) {
    ChildProgram program({"env", "-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", "sh", "-c",
                          "exec \"$0\" 2>&1", KESTRELNET_PROGRAM},
                         variables);
    Outcome outcome;
    while (const auto line = program.readLine()) {
        outcome.errors += *line + '\n';
    }
    outcome.exitStatus = program.exitStatus();
    return outcome;
}

TEST(StartFailureTest, anUnknownPlatformIsNamedWithoutTheHint) {
    const Outcome outcome = start({{"QT_QPA_PLATFORM", "nonsense"}});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr("\"nonsense\""),
                                      HasSubstr("kestrelnet: This application failed to start"),
                                      Not(HasSubstr(hint))));
}

TEST(StartFailureTest, aMissingDisplayGivesTheReasonAndTheHint) {
    for (const char* platform : {"xcb", "wayland"}) {
        const Outcome outcome = start({{"QT_QPA_PLATFORM", platform}});
        EXPECT_EQ(outcome.exitStatus, 1) << platform;
        EXPECT_THAT(outcome.errors, AllOf(HasSubstr("display"),
                                          HasSubstr("kestrelnet: This application failed to start"),
                                          HasSubstr(hint)))
            << platform;
    }
}

TEST(StartFailureTest, aPlugInThatCannotBeLoadedIsNamedWithoutTheHint) {
    const Outcome outcome = start({{"QT_QPA_PLATFORM", "unloadable"},
                                   {"QT_QPA_PLATFORM_PLUGIN_PATH", KESTRELNET_UNLOADABLE_FOLDER}});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_THAT(outcome.errors,
                AllOf(HasSubstr("Could not load the Qt platform plugin \"unloadable\""),
                      HasSubstr("kestrelnet: This application failed to start"),
                      Not(HasSubstr(hint))));
}

} // namespace

} // namespace kestrelnet
