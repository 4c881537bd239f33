// SPDX-License-Identifier: MIT
// The client is replaced between its check and its execution.
#include "privileged/TrustedFile.h"
#include "tests/privileged/HelperTest.h"

#include <fcntl.h>
#include <filesystem>
#include <linux/fs.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using privileged::openTrusted;

constexpr int goodStatus = 7;
constexpr int evilStatus = 66;

/// Exchanges two names in a loop, in another process, until it is destroyed.
class Exchange {
  public:
    Exchange(const char* one, const char* other) : racer_(::fork()) {
        if (racer_ == 0) {
            for (;;) {
                ::renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE);
            }
        }
    }
    ~Exchange() {
        ::kill(racer_, SIGKILL);
        ::waitpid(racer_, nullptr, 0);
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

  private:
    pid_t racer_;
};

/// Checks and starts the program as the helper does. Returns its exit status, or -1 when refused.
int tryOnce(const char* path) {
    const privileged::TrustedFile file = openTrusted(path);
    if (file.problem != nullptr) {
        return -1;
    }
    const pid_t child = ::vfork();
    if (child == 0) {
        char name[] = "program";
        char* const arguments[] = {name, nullptr};
        char* const environment[] = {nullptr};
        ::execveat(file.descriptor, "", arguments, environment, AT_EMPTY_PATH);
        ::_exit(127);
    }
    ::close(file.descriptor);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

class ReplacementTest : public testing::Test {
  protected:
    static constexpr int tries = 10'000;
    /// How often each outcome must occur, so that the test is a race.
    static constexpr int fewest = 100;
    static constexpr const char* folder = "/srv/outer/inner";
    static constexpr const char* program = "/srv/outer/inner/program";

    void SetUp() override {
        fs::remove_all("/srv/outer");
        fs::create_directories(folder);
        fs::copy_file(KESTRELNET_EXITS_7, program);
        fs::create_directory("/srv/outer/evil");
        fs::copy_file(KESTRELNET_EXITS_66, "/srv/outer/evil/program");
        for (const char* path : {"/srv/outer/evil", "/srv/outer/evil/program"}) {
            ASSERT_EQ(::chown(path, rootWorld::user.uid, 0), 0);
        }
    }

    /// Tries repeatedly while `one` and `other` are exchanged.
    static void race(const char* one, const char* other) {
        int good = 0;
        int refused = 0;
        const Exchange exchange(one, other);
        // More tries on a busy machine, until both outcomes have occurred.
        for (int round = 0; round < tries || good < fewest || refused < fewest; ++round) {
            ASSERT_LT(round, 20 * tries) << good << " good, " << refused << " refused";
            const int status = tryOnce(program);
            ASSERT_NE(status, evilStatus) << "round " << round;
            good += status == goodStatus ? 1 : 0;
            refused += status == -1 ? 1 : 0;
            ASSERT_EQ(good + refused, round + 1);
        }
    }
};

TEST_F(ReplacementTest, neverRunsAFileThatReplacesTheProgram) {
    race(program, "/srv/outer/evil/program");
}

TEST_F(ReplacementTest, neverRunsAFileFromAFolderThatReplacesTheFolder) {
    race(folder, "/srv/outer/evil");
}

TEST_F(ReplacementTest, neverFollowsALinkThatReplacesTheProgram) {
    fs::create_symlink("/srv/outer/evil/program", "/srv/outer/inner/link");
    race(program, "/srv/outer/inner/link");
}

class HelperReplacementTest : public HelperTest {};

TEST_F(HelperReplacementTest, theHelperNeverRunsAReplacement) {
    fs::remove(clientPath);
    fs::copy_file(KESTRELNET_EXITS_7, clientPath);
    fs::create_directory("/srv/replacement");
    fs::copy_file(KESTRELNET_EXITS_66, "/srv/replacement/client");
    ASSERT_EQ(::chown("/srv/replacement/client", rootWorld::user.uid, 0), 0);
    int good = 0;
    int refused = 0;
    const Exchange exchange(clientPath, "/srv/replacement/client");
    for (int round = 0; round < 500 || good < 5 || refused < 5; ++round) {
        ASSERT_LT(round, 2000) << good << " good, " << refused << " refused";
        UserProgram run(helperPath);
        const auto status = run.waitStatus();
        ASSERT_NE(status, W_EXITCODE(evilStatus, 0)) << "round " << round;
        good += status == W_EXITCODE(goodStatus, 0) ? 1 : 0;
        refused += status == W_EXITCODE(1, 0) ? 1 : 0;
        ASSERT_EQ(good + refused, round + 1);
    }
}

} // namespace
} // namespace kestrelnet
