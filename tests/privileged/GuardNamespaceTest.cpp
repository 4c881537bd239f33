// SPDX-License-Identifier: MIT
// What holds for a guard in a PID namespace besides GuardTest.cpp: no process can leave it.
#include "tests/privileged/GuardTest.h"

#include <string>
#include <sys/stat.h>

namespace kestrelnet::privileged {
namespace {

using namespace std::chrono_literals;

class GuardNamespaceTest : public GuardTest {};

TEST_F(GuardNamespaceTest, asksAnOrphanWhileTheMainProcessGoesOn) {
    graces.stop = 10s;
    const TemporaryFolder folder;
    const std::string ready = folder.file("ready");
    const std::string abandoned = folder.file("abandoned");
    const std::string asked = folder.file("asked");
    const std::string orphan =
        folder.write("orphan", "#!/bin/sh\ntrap 'echo asked >>" + asked + "; exit' TERM\n: >" +
                                   ready + "\nwhile :; do sleep 0.02; done\n");
    // Goes on until the orphan is asked.
    const std::string main =
        folder.write("main", "#!/bin/sh\ntrap : TERM\n(sh " + orphan + " & while [ ! -e " +
                                 abandoned + " ]; do sleep 0.02; done) &\nwhile [ ! -s " + asked +
                                 " ]; do sleep 0.02; done\nexit 7\n");
    ASSERT_EQ(::chmod(main.c_str(), 0700), 0);
    guardProgram(main);
    EXPECT_TRUE(waitFor([&] { return ::access(ready.c_str(), F_OK) == 0; }));
    askToStop();
    folder.write("abandoned", "");
    EXPECT_EQ(result(), 7);
    EXPECT_EQ(readFile(asked), "asked\n");
}

TEST_F(GuardNamespaceTest, asksADaemonOnce) {
    const FakeClient& client = start("keeps-daemon");
    EXPECT_TRUE(waitFor([&client] { return client.grandchild().has_value(); }));
    startClock();
    askToStop();
    // The main process ends at once; the daemon keeps the time that the run was given.
    EXPECT_EQ(result(), 128 + SIGTERM);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_EQ(client.terminations(), 1U);
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(GuardNamespaceTest, endsADaemonAfterTheMainProcess) {
    guard("daemonises");
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(isNothingLeft());
}

/// With clients whose processes try to escape, ignore SIGTERM, or multiply.
class GuardKillTest : public GuardTest, public testing::WithParamInterface<const char*> {};

TEST_P(GuardKillTest, takesEveryProcessWithIt) {
    const FakeClient& client = start(GetParam());
    startClock();
    ::kill(guardOf(client), SIGKILL);
    EXPECT_EQ(result(), 128 + SIGKILL);
    // The guard's end is the end of all.
    EXPECT_TRUE(isNothingLeft()) << testing::PrintToString(rootWorld::processes());
    EXPECT_LT(sinceStart(), delay);
}

INSTANTIATE_TEST_SUITE_P(Clients, GuardKillTest,
                         testing::Values("stubborn", "family", "keeps-daemon", "breeds", "spreads"),
                         [](const auto& tested) {
                             std::string name = tested.param;
                             std::erase(name, '-');
                             return name;
                         });

} // namespace
} // namespace kestrelnet::privileged
