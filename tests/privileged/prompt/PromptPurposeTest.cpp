// SPDX-License-Identifier: MIT
// What the password prompt says that a command is for, and that no other command runs under the
// same message.
#include "tests/support/polkit/PromptTest.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::HasSubstr;

namespace fs = std::filesystem;

const std::string action = "request com.kestrelnetvpn.app.";
const std::string removal = "rm -f /Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";

class PromptPurposeTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
    }

    // A function, because the order in which global values of several sources are made is
    // undefined.
    static std::string installation() {
        return "/bin/bash '" + rootWorld::bundle + "/Contents/Resources/install-helper.sh'";
    }

    /// The command of a connect with its files in `folder`.
    static std::string connection(const std::string& folder) {
        std::string command = folder;
        return command.append("kestrelnet-launcher.sh > ")
            .append(folder)
            .append("kestrelnet-output.fifo 2>&1");
    }

    /// The next request that the agent gets.
    static std::string request(ChildProgram& agent) { return agent.readLine().value_or("none"); }

    /// Runs osascript as the user; its exit status.
    static int runScript(const std::string& command) {
        ChildProgram program(PolkitWorld::inSession(
            {"/bin/sh", "-c", "\"$@\"; exit $?", "sh",
             rootWorld::bundle + "/Contents/Helpers/osascript", "-e",
             "do shell script \"" + command + "\" with administrator privileges"}));
        return program.exitStatus().value_or(-1);
    }

    /// Starts kestrelnet-run through pkexec as the user, who claims `purpose`: as osascript does,
    /// with a lifeline. Returns its output.
    static std::string runFor(const std::string& purpose, const std::string& command) {
        const std::string starter = "/usr/libexec/kestrelnet-test/claim-purpose";
        std::ofstream(starter)
            << "#!/usr/bin/python3\n"
               "import socket, subprocess, sys\n"
               "ours, theirs = socket.socketpair(socket.AF_UNIX, "
               "socket.SOCK_STREAM)\n"
               "subprocess.run(['pkexec', '--disable-internal-agent', *sys.argv[1:]], "
               "stdin=theirs, stderr=subprocess.STDOUT)\n";
        fs::permissions(starter, static_cast<fs::perms>(0755));
        ChildProgram program(PolkitWorld::inSession(
            {"/bin/sh", "-c", "\"$@\"; exit $?", "sh", starter,
             rootWorld::bundle + "/Contents/Helpers/kestrelnet-run", purpose, command}));
        std::string output;
        while (const auto line = program.readLine()) {
            output += *line + '\n';
        }
        return output;
    }
};

TEST_F(PromptPurposeTest, saysThatItStartsTheTunnel) {
    ChildProgram& agent = world.startAgent("--cancel");
    install("relay-then-routes");
    startController();
    controller->tell("connect");
    EXPECT_EQ(request(agent),
              action + "connect Kestrelnet needs administrator rights to start the VPN tunnel");
    EXPECT_TRUE(tells("status Error"));
}

TEST_F(PromptPurposeTest, saysThatItInstallsTheHelper) {
    ChildProgram& agent = world.startAgent("--cancel");
    startController();
    controller->tell("install");
    EXPECT_EQ(request(agent),
              action + "install-helper Kestrelnet needs administrator rights to install its "
                       "helper, which starts the VPN tunnel as root without asking for a password");
    EXPECT_TRUE(tells("installed false"));
}

TEST_F(PromptPurposeTest, saysThatItRemovesTheHelper) {
    ChildProgram& agent = world.startAgent("right");
    fs::create_directories("/Library/PrivilegedHelperTools");
    std::ofstream("/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel") << "a helper";
    startController();
    controller->tell("uninstall");
    EXPECT_EQ(request(agent),
              action + "remove-helper Kestrelnet needs administrator rights to remove its helper");
    EXPECT_TRUE(tells("uninstalled"));
    EXPECT_FALSE(fs::exists("/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel"));
}

TEST_F(PromptPurposeTest, showsAnyOtherCommand) {
    ChildProgram& agent = world.startAgent("right");
    EXPECT_EQ(runScript("exit 4"), 4);
    EXPECT_EQ(request(agent),
              action +
                  "run-as-root A program has asked Kestrelnet to run a command as root that "
                  "is not one of its own: " +
                  rootWorld::bundle + "/Contents/Helpers/kestrelnet-run command exit 4");
    EXPECT_EQ(request(agent), "answered SUCCESS");
    // The application's commands with a change.
    const std::string theirs = "/run/user/" + std::to_string(rootWorld::stranger.uid) + '/';
    fs::create_directory(theirs);
    fs::permissions(theirs, fs::perms::owner_all);
    ASSERT_EQ(::chown(theirs.c_str(), rootWorld::stranger.uid, rootWorld::stranger.gid), 0);
    for (const std::string& command :
         {removal + " /etc/nothing", installation() + " --help", connection(theirs)}) {
        runScript(command);
        EXPECT_THAT(request(agent), HasSubstr(action + "run-as-root"));
        EXPECT_EQ(request(agent), "answered SUCCESS");
    }
}

TEST_F(PromptPurposeTest, showsALongCommandWhole) {
    ChildProgram& agent = world.startAgent("--cancel");
    const std::string command = "true " + std::string(2000, 'k') + "; touch /tmp/evil; true " +
                                std::string(2000, 'l') + " end";
    EXPECT_EQ(runScript(command), 1);
    EXPECT_THAT(request(agent), testing::EndsWith("kestrelnet-run command " + command));
}

TEST_F(PromptPurposeTest, refusesACommandThatDoesNotFitItsPurpose) {
    ChildProgram& agent = world.startAgent("right");
    const std::string own = "/run/user/" + std::to_string(rootWorld::user.uid) + '/';
    const std::string evil = "touch /tmp/evil";
    for (const auto& [purpose, id, command] :
         {std::tuple{"connect", "connect", evil}, std::tuple{"connect", "connect", removal},
          std::tuple{"connect", "connect", connection(own).append("; ").append(evil)},
          std::tuple{"install", "install-helper", evil},
          std::tuple{"install", "install-helper", connection(own)},
          std::tuple{"remove", "remove-helper", evil},
          std::tuple{"remove", "remove-helper", installation()}}) {
        EXPECT_EQ(runFor(purpose, command), "Kestrelnet: this is not a command of the purpose that "
                                            "the password was asked for.\n")
            << purpose << ' ' << command;
        EXPECT_THAT(request(agent), HasSubstr(action + id));
        EXPECT_EQ(request(agent), "answered SUCCESS");
    }
    // A purpose without an action gets polkit's own message.
    EXPECT_EQ(runFor("another", evil), "Kestrelnet: this is not a command of the purpose that "
                                       "the password was asked for.\n");
    EXPECT_THAT(request(agent), HasSubstr("request org.freedesktop.policykit.exec"));
    EXPECT_FALSE(fs::exists("/tmp/evil"));
}

TEST_F(PromptPurposeTest, runsACommandThatFitsItsPurpose) {
    world.startAgent("right");
    EXPECT_EQ(runFor("command", "echo ran"), "ran\n");
    EXPECT_EQ(runFor("remove", removal), "");
    EXPECT_THAT(runFor("install", installation()), HasSubstr("there is no kestrelnet-client"));
}

} // namespace
} // namespace kestrelnet
