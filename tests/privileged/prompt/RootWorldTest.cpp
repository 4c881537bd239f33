// SPDX-License-Identifier: MIT
// The namespaces that the tests of this folder run in.
#include "tests/support/RootWorld.h"
#include "tests/support/polkit/PolkitWorld.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST(RootWorldTest, isEmptyAtFirst) {
    EXPECT_THAT(rootWorld::processes(), IsEmpty());
}

TEST(RootWorldTest, theUserHasNoSpecialRights) {
    EXPECT_EQ(rootWorld::as(rootWorld::user, [] { return ::access("/etc/shadow", R_OK); }), 255);
    EXPECT_EQ(rootWorld::as(rootWorld::user,
                            [] { return ::setuid(0) == 0 || ::getuid() != rootWorld::user.uid; }),
              0);
}

TEST(RootWorldTest, polkitAsksTheAgentOfTheSession) {
    PolkitWorld world;
    world.startPolkit();
    ChildProgram& agent = world.startAgent("right");
    ChildProgram child(PolkitWorld::inSession({"/bin/sh", "-c", "pkexec id -u; exit $?"}));
    EXPECT_EQ(child.readLine(), "0");
    EXPECT_EQ(child.exitStatus(), 0);
    EXPECT_THAT(agent.readLine().value_or(""), HasSubstr("request org.freedesktop.policykit.exec"));
}

} // namespace
} // namespace kestrelnet
