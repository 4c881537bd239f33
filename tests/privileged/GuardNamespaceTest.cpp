// SPDX-License-Identifier: MIT
// What holds for a guard in a PID namespace besides GuardTest.cpp: no process can leave it.
#include "tests/privileged/GuardTest.h"

#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet::privileged {
namespace {

using namespace std::chrono_literals;

class GuardNamespaceTest : public GuardTest {};

TEST_F(GuardNamespaceTest, asksAnOrphanWhileTheMainProcessGoesOn) {
    graces.stop = 10s;
    const TemporaryFolder folder;
    const std::string ready = folder.file("ready");
    const std::string abandoned = makeFifo(folder, "abandoned");
    const std::string wake = makeFifo(folder, "wake");
    const std::string asked = folder.file("asked");
    const std::string orphan =
        folder.write("orphan", "#!/bin/sh\ntrap 'echo asked >>" + asked +
                                   "; echo >&3; exit' TERM\n"
                                   ": >" +
                                   ready + "\nexec 4<>" + makeFifo(folder, "pause") +
                                   "\nwhile :; do read -r line <&4; done\n");
    // Goes on until the orphan is asked. A SIGTERM to itself interrupts the read, too.
    const std::string main =
        folder.write("main", "#!/bin/sh\ntrap : TERM\nexec 3<>" + wake + "\n(sh " + orphan +
                                 " & read -r line <" + abandoned + ") &\nuntil [ -s " + asked +
                                 " ]; do read -r line <&3; done\nexit 7\n");
    const int abandon = ::open(abandoned.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(abandon, 0);
    ASSERT_EQ(::chmod(main.c_str(), 0700), 0);
    guardProgram(main);
    EXPECT_TRUE(waitFor([&] { return ::access(ready.c_str(), F_OK) == 0; }));
    askToStop();
    EXPECT_EQ(::write(abandon, "\n", 1), 1);
    EXPECT_EQ(result(), 7);
    EXPECT_EQ(readFile(asked), "asked\n");
    ::close(abandon);
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
