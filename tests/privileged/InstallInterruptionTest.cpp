// SPDX-License-Identifier: MIT
// Ends the installation before each of its commands. bash reads a file (BASH_ENV) before the script
// and calls a function from it before every command.
#include "tests/privileged/InstallTest.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

namespace fs = std::filesystem;

constexpr int killed = 128 + SIGKILL;
constexpr const char* hooks = "/tmp/hooks";
constexpr const char* findings = "/tmp/findings";

class InstallInterruptionTest : public InstallTest {
  protected:
    /// More commands than the script has.
    static constexpr int mostCommands = 400;

    void SetUp() override {
        InstallTest::SetUp();
        fs::remove(findings);
        write(systemClient, "a client");
    }

    /// Runs the script and kills it before the command with this number; its exit status.
    static int runUntil(int number) {
        write(hooks, "count=0\n"
                     "before() { ((++count < " +
                         std::to_string(number) +
                         ")) || kill -KILL $$; }\n"
                         "set -T\n"
                         "trap before DEBUG\n");
        const int status = run({{"BASH_ENV", hooks}}).status;
        // The programs of a pipeline survive their shell for a moment, and may still create a file.
        EXPECT_TRUE(waitFor([] { return rootWorld::processes().empty(); }));
        return status;
    }

    /// What must never be there: a set-user-ID file with another name than the helper's, and such a
    /// helper without a client.
    static std::vector<std::string> unsafeFiles() {
        std::vector<std::string> found;
        for (const std::string& name : names(folder)) {
            struct stat status {};
            const std::string path = inFolder(name);
            if (::lstat(path.c_str(), &status) == 0 && (status.st_mode & S_ISUID) != 0 &&
                (path != helper || !fs::exists(client))) {
                found.push_back(path);
            }
        }
        return found;
    }

    /// The names, sizes and rights of the files in the folder, without the random part of a name.
    static std::string state() {
        std::vector<std::string> lines;
        for (const std::string& name : names(folder)) {
            const std::string path = inFolder(name);
            lines.push_back((name.front() == '.' ? fs::path(name).stem().string() : name) + ' ' +
                            facts(path) + ' ' + std::to_string(fs::file_size(path)));
        }
        std::sort(lines.begin(), lines.end());
        return testing::PrintToString(lines);
    }

    /// Kills the installation before each command, each time from the state that `prepare` makes,
    /// and expects `rights` of the helper after the next installation.
    static void interruptEverywhere(const std::function<void()>& prepare,
                                    const std::string& rights) {
        std::set<std::string> states;
        int number = 1;
        for (int status = killed; status == killed; ++number) {
            ASSERT_LT(number, mostCommands);
            prepare();
            status = runUntil(number);
            ASSERT_THAT(unsafeFiles(), IsEmpty()) << "before command " << number;
            // The same files lead to the same next installation.
            if (states.insert(state()).second) {
                const Outcome next = run();
                ASSERT_EQ(next.status, 0) << next.errors;
                ASSERT_THAT(names(folder), SizeIs(2)) << "before command " << number;
                ASSERT_EQ(facts(helper), rights) << "before command " << number;
            }
        }
        // Among them: with each temporary file, with the client only, with an unfinished helper.
        EXPECT_GE(states.size(), 6U) << testing::PrintToString(states);
        EXPECT_GT(number, 50);
    }
};

TEST_F(InstallInterruptionTest, leavesNoSetUserIdFileAndNothingAfterTheNextInstallation) {
    interruptEverywhere([] { fs::remove_all(folder); }, "0:0 4755");
}

TEST_F(InstallInterruptionTest, keepsTheGroupAndTheModeOfAnEarlierHelper) {
    interruptEverywhere(
        [] {
            fs::remove_all(folder);
            write(client, "an earlier client");
            write(helper, "an earlier helper");
            ASSERT_EQ(::chown(helper.c_str(), 0, rootWorld::user.gid), 0);
            ASSERT_EQ(::chmod(helper.c_str(), 04750), 0);
        },
        "0:" + std::to_string(rootWorld::user.gid) + " 4750");
}

TEST_F(InstallInterruptionTest, hasNoUnsafeFileAtAnyMoment) {
    // Checks before each command, in place of an interruption.
    const std::string others = "find /Library -type f -perm /6000 ! -path " + helper;
    write(hooks, "before() {\n"
                 "    [[ -d /Library ]] || return 0\n    " +
                     others + " >>" + findings + "\n    [[ ! -u " + helper + " || -e " + client +
                     " ]] || echo 'a helper without a client' >>" + findings +
                     "\n    echo . >>/tmp/commands\n"
                     "}\n"
                     "set -T\n"
                     "trap before DEBUG\n");
    EXPECT_EQ(run({{"BASH_ENV", hooks}}).status, 0);
    expectInstalled("a client");
    changeBundledHelper();
    EXPECT_EQ(run({{"BASH_ENV", hooks}}).status, 0);
    expectInstalled("a client");
    EXPECT_EQ(readFile(findings), "");
    EXPECT_GT(fs::file_size("/tmp/commands"), 100U);
}

TEST_F(InstallInterruptionTest, removesWhatAnEarlierInterruptionLeft) {
    write(temporary(helper), "a helper", 04755);
    write(temporary(client), "a client");
    EXPECT_EQ(run().status, 0);
    expectInstalled("a client");
}

} // namespace
} // namespace kestrelnet
