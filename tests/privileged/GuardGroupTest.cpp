// SPDX-License-Identifier: MIT
// What holds for a guard whose containment is a process group, besides GuardTest.cpp.
#include "tests/privileged/GuardTest.h"

#include <string>
#include <sys/stat.h>

namespace kestrelnet::privileged {
namespace {

using namespace std::chrono_literals;

class GuardGroupTest : public GuardTest {};

TEST_F(GuardGroupTest, asksTheOtherMembersOnceWhenTheMainProcessHasEnded) {
    graces.stop = 2s;
    const TemporaryFolder folder;
    const std::string ready = folder.file("ready");
    const std::string asked = folder.file("asked");
    // Nobody writes to it, so only a signal ends a read.
    const std::string pause =
        "exec 3<>" + makeFifo(folder, "pause") + "\nwhile :; do read -r line <&3; done\n";
    const std::string child =
        folder.write("child", "trap 'echo child >>" + asked + "' TERM\n: >" + ready + "\n" + pause);
    const std::string main =
        folder.write("main", "#!/bin/sh\ntrap 'echo main >>" + asked + "; exit 7' TERM\nsh " +
                                 child + " &\n" + pause);
    ASSERT_EQ(::chmod(main.c_str(), 0700), 0);
    guardProgram(main);
    EXPECT_TRUE(waitFor([&] { return ::access(ready.c_str(), F_OK) == 0; }));
    startClock();
    askToStop();
    EXPECT_EQ(result(), 7);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_EQ(readFile(asked), "main\nchild\n");
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(GuardGroupTest, waitsForTheOtherMembersAfterTheMainProcess) {
    graces.abandoned = 10s;
    const TemporaryFolder folder;
    const std::string cleaned = folder.file("cleaned");
    const std::string ready = makeFifo(folder, "ready");
    // The member's clean-up takes some time on purpose.
    const std::string main = folder.write(
        "main", "#!/bin/sh\nsh -c 'trap \"sleep 0.3; : >" + cleaned + "; exit\" TERM; echo >" +
                    ready + "; exec 3<>" + makeFifo(folder, "pause") +
                    "; while :; do read -r line <&3; done' &\nread -r line <" + ready +
                    "\nexit 7\n");
    ASSERT_EQ(::chmod(main.c_str(), 0700), 0);
    startClock();
    guardProgram(main);
    EXPECT_EQ(result(), 7);
    EXPECT_LT(sinceStart(), graces.abandoned);
    EXPECT_EQ(::access(cleaned.c_str(), F_OK), 0);
    EXPECT_TRUE(isNothingLeft());
}

// The limit of this containment.
TEST_F(GuardGroupTest, losesAProcessThatLeavesTheGroup) {
    const FakeClient& client = start("keeps-daemon");
    EXPECT_TRUE(waitFor([&client] { return client.grandchild().has_value(); }));
    askToStop();
    EXPECT_EQ(result(), 128 + SIGTERM);
    EXPECT_EQ(::kill(*client.grandchild(), 0), 0);
    EXPECT_EQ(client.terminations(), 0U);
}

} // namespace
} // namespace kestrelnet::privileged
