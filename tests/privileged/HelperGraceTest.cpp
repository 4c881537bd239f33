// SPDX-License-Identifier: MIT
// How often the processes of a run are asked to end.
#include "tests/privileged/ClientScripts.h"
#include "tests/privileged/HelperTest.h"

#include <filesystem>
#include <signal.h>

namespace kestrelnet {
namespace {

class HelperGraceTest : public HelperTest {
  protected:
    void SetUp() override {
        HelperTest::SetUp();
        std::filesystem::remove(scripts::asked);
    }
};

TEST_F(HelperGraceTest, aWrapperAndItsVpnAreAskedOnceEach) {
    // A second SIGTERM would make the VPN skip its farewell.
    startScript(scripts::wrapper);
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_TRUE(program->waitStatus());
    EXPECT_EQ(readFile(scripts::asked), "wrapper\nvpn\n");
}

TEST_F(HelperGraceTest, aVpnWhoseWrapperEndsIsAskedOnce) {
    startScript(scripts::vpn + "wait\n");
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_TRUE(program->waitStatus());
    EXPECT_EQ(readFile(scripts::asked), "vpn\n");
}

} // namespace
} // namespace kestrelnet
