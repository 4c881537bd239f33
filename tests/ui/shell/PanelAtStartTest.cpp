// SPDX-License-Identifier: MIT
#include "ui/shell/PanelAtStart.h"

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

constexpr Clock::Time start = Clock::Time() + 1h;

TEST(PanelAtStartTest, nothingOpensWhileItIsUnknownWhetherThereIsATray) {
    for (const auto cause : {StartCause::person, StartCause::link, StartCause::session}) {
        PanelAtStart panel(cause, start);
        panel.personCame(start);
        panel.sessionCompleted(start);
        EXPECT_EQ(panel.opensAt(), std::nullopt);
    }
}

TEST(PanelAtStartTest, withATrayItOpensForAPersonOnly) {
    for (const auto cause : {StartCause::person, StartCause::link, StartCause::session}) {
        PanelAtStart panel(cause, start);
        panel.trayAppeared();
        EXPECT_EQ(panel.opensAt().has_value(), cause == StartCause::person);
    }
}

TEST(PanelAtStartTest, withoutATrayItOpensForAPersonAtOnce) {
    for (const auto cause : {StartCause::person, StartCause::link}) {
        PanelAtStart panel(cause, start);
        panel.trayAbsent();
        EXPECT_EQ(panel.opensAt(), start);
    }
}

TEST(PanelAtStartTest, atLoginItWaitsForATrayForTenSeconds) {
    PanelAtStart panel(StartCause::session, start);
    panel.trayAbsent();
    EXPECT_EQ(panel.opensAt(), start + 10s);
    panel.trayAppeared();
    EXPECT_EQ(panel.opensAt(), std::nullopt);
}

TEST(PanelAtStartTest, theEndOfTheSessionsStartShortensTheWait) {
    PanelAtStart panel(StartCause::session, start);
    panel.trayAbsent();
    panel.sessionCompleted(start + 3s);
    EXPECT_EQ(panel.opensAt(), start + 5s);
}

TEST(PanelAtStartTest, theEndOfTheSessionsStartNeverLengthensTheWait) {
    PanelAtStart panel(StartCause::session, start);
    panel.trayAbsent();
    panel.sessionCompleted(start + 9s);
    EXPECT_EQ(panel.opensAt(), start + 10s);
}

TEST(PanelAtStartTest, aPersonEndsTheWait) {
    PanelAtStart panel(StartCause::session, start);
    panel.trayAbsent();
    panel.personCame(start + 3s);
    EXPECT_EQ(panel.opensAt(), start + 3s);
}

TEST(PanelAtStartTest, itOpensOnce) {
    for (const auto cause : {StartCause::person, StartCause::session}) {
        PanelAtStart panel(cause, start);
        panel.trayAbsent();
        panel.panelOpened();
        EXPECT_EQ(panel.opensAt(), std::nullopt);
        panel.trayAppeared();
        EXPECT_EQ(panel.opensAt(), std::nullopt);
    }
}

} // namespace

} // namespace kestrelnet
