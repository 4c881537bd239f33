// SPDX-License-Identifier: MIT
// The process state of a command that was run behind the prompt, its output and its status.
#include "tests/support/polkit/PromptTest.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

int waiting(int pipe) {
    int size = 0;
    ::ioctl(pipe, FIONREAD, &size);
    return size;
}

class PromptCommandTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
        agent = &world.startAgent("right");
    }

    /// Runs osascript as the user.
    ChildProgram& start(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{"/bin/sh", "-c", "\"$@\" 2>" + errorFile + "; exit $?",
                                         "sh", rootWorld::bundle + "/Contents/Helpers/osascript"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return program_.emplace(PolkitWorld::inSession(command));
    }
    ChildProgram& run(const std::string& command) {
        return start({"-e", "do shell script \"" + command + "\" with administrator privileges"});
    }
    static std::string errors() { return readFile("/tmp/errors"); }
    std::vector<std::string> lines() {
        std::vector<std::string> found;
        while (const auto line = program_->readLine()) {
            found.push_back(*line);
        }
        return found;
    }

    /// Sends the errors to a pipe and returns its reading end.
    int readErrorsLate() {
        errorFile = "/run/user/" + std::to_string(rootWorld::user.uid) + "/errors";
        EXPECT_EQ(::mkfifo(errorFile.c_str(), 0600), 0);
        EXPECT_EQ(::chown(errorFile.c_str(), rootWorld::user.uid, rootWorld::user.gid), 0);
        return ::open(errorFile.c_str(), O_RDWR | O_CLOEXEC);
    }

    ChildProgram* agent = nullptr;
    std::string errorFile = "/tmp/errors";

  private:
    std::optional<ChildProgram> program_;
};

TEST_F(PromptCommandTest, hasAllIdentifiersOfRoot) {
    run("grep -E '^(Uid|Gid|Groups|SigBlk|SigIgn):' /proc/self/status");
    EXPECT_THAT(lines(), ElementsAre("Uid:\t0\t0\t0\t0", "Gid:\t0\t0\t0\t0", "Groups:\t ",
                                     "SigBlk:\t0000000000000000", "SigIgn:\t0000000000000000"));
}

TEST_F(PromptCommandTest, hasACleanEnvironment) {
    run("exec env");
    EXPECT_THAT(lines(),
                UnorderedElementsAre(
                    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                    "HOME=/root", "USER=root", "LOGNAME=root", "SHELL=/bin/sh", "LANG=C.UTF-8",
                    "PKEXEC_UID=" + std::to_string(rootWorld::user.uid), "PWD=/"));
}

TEST_F(PromptCommandTest, hasNoInputAndNoOtherDescriptors) {
    run("readlink /proc/self/fd/0; ls /proc/$$/fd; pwd; umask");
    EXPECT_THAT(lines(), ElementsAre("/dev/null", "0", "1", "2", "/", "0022"));
}

TEST_F(PromptCommandTest, writesToBothStreamsOfItsCaller) {
    ChildProgram& program = run("echo out; echo one >&2; echo two >&2; exit 5");
    EXPECT_EQ(program.readLine(), "out");
    EXPECT_EQ(program.exitStatus(), 5);
    EXPECT_EQ(errors(), "one\ntwo\n");
}

TEST_F(PromptCommandTest, losesNoOutputToASlowReader) {
    const int reader = readErrorsLate();
    ChildProgram& program = run("seq 50000 >&2; echo said");
    // The output is larger than the pipes.
    EXPECT_TRUE(waitFor([reader] { return waiting(reader) == 65536; }));
    std::string text;
    std::array<char, 65536> chunk{};
    while (!text.ends_with("\n50000\n")) {
        pollfd ready{.fd = reader, .events = POLLIN, .revents = 0};
        ASSERT_EQ(::poll(&ready, 1, 10000), 1) << text.size();
        text.append(chunk.data(),
                    static_cast<std::size_t>(::read(reader, chunk.data(), chunk.size())));
    }
    EXPECT_EQ(text.size(), 288894U);
    EXPECT_EQ(program.readLine(), "said");
    EXPECT_EQ(program.exitStatus(), 0);
    ::close(reader);
}

TEST_F(PromptCommandTest, isStoppedWhileNobodyReadsItsOutput) {
    const int reader = readErrorsLate();
    ChildProgram& program = run("exec yes >&2");
    EXPECT_TRUE(waitFor([reader] { return waiting(reader) == 65536; }));
    const auto osascript = find("/Contents/Helpers/osascript");
    ASSERT_TRUE(osascript);
    ::kill(*osascript, SIGTERM);
    EXPECT_EQ(program.exitStatus(), 128 + SIGTERM);
    EXPECT_TRUE(waitFor([this] { return strays().empty(); }));
    ::close(reader);
}

TEST_F(PromptCommandTest, endsWithItsStarterWhileNobodyReadsItsOutput) {
    const int reader = readErrorsLate();
    ChildProgram& starter = run("exec yes >&2");
    EXPECT_TRUE(waitFor([reader] { return waiting(reader) == 65536; }));
    starter.kill();
    EXPECT_TRUE(waitFor([this] {
        const auto left = strays();
        return std::all_of(left.begin(), left.end(),
                           [](const auto& process) { return process.state == 'Z'; });
    }));
    ::close(reader);
}

TEST_F(PromptCommandTest, continuesAfterTheReaderOfItsErrorsHasGone) {
    const int reader = readErrorsLate();
    ASSERT_EQ(::mkfifo("/tmp/closed", 0600), 0);
    ChildProgram& program = run("echo runs; read go </tmp/closed; echo lost >&2; exit 5");
    EXPECT_EQ(program.readLine(), "runs");
    ::close(reader);
    std::ofstream("/tmp/closed") << "go\n";
    EXPECT_EQ(program.exitStatus(), 5);
}

TEST_F(PromptCommandTest, returnsItsStatus) {
    // These include the statuses that pkexec itself uses.
    for (const int status : {0, 1, 3, 126, 127, 255}) {
        EXPECT_EQ(run("exit " + std::to_string(status)).exitStatus(), status);
        EXPECT_EQ(errors(), "");
    }
}

TEST_F(PromptCommandTest, returnsTheSignalThatEndedIt) {
    EXPECT_EQ(run("kill -9 $$").exitStatus(), 128 + SIGKILL);
    EXPECT_EQ(errors(), "");
}

TEST_F(PromptCommandTest, mayBeEmpty) {
    EXPECT_EQ(run("").exitStatus(), 0);
    EXPECT_THAT(agent->readLine().value_or(""), HasSubstr("request"));
}

TEST_F(PromptCommandTest, doesNotWaitForBackgroundProcesses) {
    ChildProgram& program = run("sleep 600 >/dev/null 2>&1 & echo started");
    EXPECT_EQ(program.readLine(), "started");
    EXPECT_EQ(program.exitStatus(), 0);
    EXPECT_TRUE(waitFor([this] { return strays().empty(); }));
}

TEST_F(PromptCommandTest, isRefusedWithoutAPromptWhenItIsNoStatement) {
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {},
             {"-e"},
             {"-e", "id"},
             {"-l", "do shell script \"id\" with administrator privileges"},
             {"-e", "do shell script \"id\" with administrator privileges", "more"},
             {"-e", "do shell script \"a \"b\"\" with administrator privileges"}}) {
        EXPECT_EQ(start(arguments).exitStatus(), 1);
        EXPECT_THAT(errors(), HasSubstr("osascript: "));
        std::istringstream text(errors());
        std::string line;
        EXPECT_TRUE(std::getline(text, line) && !std::getline(text, line)) << errors();
    }
    run("echo asked");
    EXPECT_THAT(agent->readLine().value_or(""), HasSubstr("request"));
    EXPECT_EQ(agent->readLine(), "answered SUCCESS");
    EXPECT_THAT(lines(), ElementsAre("asked"));
}

TEST_F(PromptCommandTest, showsThePromptFromABuildTreeToo) {
    // The action with our message is for the installed path; polkit has a default for others.
    std::filesystem::rename(rootWorld::bundle, "/usr/lib/elsewhere");
    std::filesystem::create_directory(rootWorld::bundle);
    std::filesystem::create_directory_symlink("/usr/lib/elsewhere/Contents",
                                              rootWorld::bundle + "/Contents");
    EXPECT_EQ(run("exit 4").exitStatus(), 4);
    EXPECT_THAT(agent->readLine().value_or(""),
                HasSubstr("request org.freedesktop.policykit.exec"));
}

TEST_F(PromptCommandTest, needsAnAdministratorEachTimeFromEverySession) {
    const std::string policy =
        readFile(rootWorld::bundle + "/Contents/Resources/com.kestrelnetvpn.app.policy");
    for (const char* defaults :
         {"<allow_any>auth_admin</allow_any>", "<allow_inactive>auth_admin</allow_inactive>",
          "<allow_active>auth_admin</allow_active>"}) {
        EXPECT_THAT(policy, HasSubstr(defaults));
    }
    EXPECT_THAT(policy, HasSubstr(">" + rootWorld::bundle + "/Contents/Helpers/kestrelnet-run<"));
}

TEST_F(PromptCommandTest, refusesToBeStartedByAnythingButTheApplication) {
    // Started directly, as root and as the user.
    ChildProgram program(
        {rootWorld::bundle + "/Contents/Helpers/kestrelnet-run", "command", "echo ran"});
    EXPECT_EQ(program.exitStatus(), 127);
    EXPECT_EQ(rootWorld::as(rootWorld::user,
                            [] {
                                const std::string path =
                                    rootWorld::bundle + "/Contents/Helpers/kestrelnet-run";
                                ::execl(path.c_str(), path.c_str(), "command", "echo ran", nullptr);
                                return 1;
                            }),
              127);
}

} // namespace
} // namespace kestrelnet
