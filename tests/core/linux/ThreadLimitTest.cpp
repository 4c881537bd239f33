// SPDX-License-Identifier: MIT
// The controller on the real system, run by an ordinary user whose number of threads is limited.
#include "tests/support/ChildProgram.h"
#include "tests/support/FakeClient.h"
#include "tests/support/RootWorld.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

/// The user that starts the controller and its client. The limit counts all threads of a user on
/// the machine, so no other test may use this one.
class ThreadLimitTest : public testing::Test {
  protected:
    ThreadLimitTest() {
        const std::string id = std::to_string(user_);
        std::ofstream("/etc/passwd", std::ios::app)
            << "limited:x:" << id << ':' << id << "::" << home << ":/bin/sh\n";
        fs::create_directories(home);
        give(home);
        program_ =
            rootWorld::install(KESTRELNET_CONTROLLER, "/usr/libexec/kestrelnet/Contents/Linux");
        rootWorld::install("/bin/true", "/usr/local/bin");
        fs::rename("/usr/local/bin/true", "/usr/local/bin/kestrelnet-client");
    }

    /// Makes a client the helper. It runs as the user.
    FakeClient& install(std::string_view mode) {
        client_ = std::make_unique<FakeClient>(mode);
        client_->installAt("/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel");
        const fs::path folder = fs::path(client_->executable()).parent_path();
        give(folder);
        for (const auto& entry : fs::directory_iterator(folder)) {
            give(entry.path());
        }
        return *client_;
    }

    void startController() {
        const std::string id = std::to_string(user_);
        controller.emplace(std::vector<std::string>{"setpriv", "--reuid=" + id, "--regid=" + id,
                                                    "--clear-groups", "--reset-env", program_});
        // Its answer to a command shows that all threads of its start exist: a limit must not meet
        // the start. An earlier controller may have stored a key.
        controller->tell("key ");
        controller->tell("connect");
        ASSERT_TRUE(controller->reads("log API key not configured"));
        controller->tell("key dev_0123456789");
    }

    /// Lets the user have at most `count` threads more than the controller has now.
    void allowThreads(std::size_t count) const {
        const auto limit = static_cast<rlim_t>(threads() + count);
        const rlimit both{.rlim_cur = limit, .rlim_max = limit};
        const rootWorld::User user{"limited", user_, user_, home};
        ASSERT_EQ(rootWorld::as(user,
                                [&] {
                                    return ::prlimit(controller->pid(), RLIMIT_NPROC, &both,
                                                     nullptr) == 0
                                               ? 0
                                               : errno;
                                }),
                  0);
    }

    /// The line with which the client, or the failure to start it, is reported.
    std::string outcome() {
        for (auto line = controller->readLine(); line; line = controller->readLine()) {
            if (*line == "log Tunnel connected, setting up routes..." ||
                line->starts_with("log Failed")) {
                return *line;
            }
        }
        return "nothing";
    }

    const std::string home = "/home/limited";
    std::optional<ChildProgram> controller;

  private:
    void give(const fs::path& path) const { ASSERT_EQ(::chown(path.c_str(), user_, user_), 0); }

    std::size_t threads() const {
        const fs::directory_iterator tasks("/proc/" + std::to_string(controller->pid()) + "/task");
        return static_cast<std::size_t>(std::distance(tasks, fs::directory_iterator()));
    }

    const uid_t user_ = 200000 + std::random_device()() % 1000000;
    std::string program_;
    std::unique_ptr<FakeClient> client_;
};

TEST_F(ThreadLimitTest, aStopNeedsNoThread) {
    const FakeClient& client = install("stubborn");
    startController();
    controller->tell("connect");
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    allowThreads(0);
    controller->tell("disconnect");
    EXPECT_TRUE(controller->reads("status Disconnected"));
    EXPECT_TRUE(waitFor([&] { return client.isGone(); }));
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(ThreadLimitTest, aClientThatStartsIsReadAndCanBeStopped) {
    bool failed = false;
    bool started = false;
    for (std::size_t allowed = 0; allowed < 8; ++allowed) {
        const FakeClient& client = install("relay");
        startController();
        allowThreads(allowed);
        controller->tell("connect");
        const std::string line = outcome();
        if (line.starts_with("log Failed")) {
            EXPECT_EQ(line, "log Failed to start helper: Resource temporarily unavailable");
            EXPECT_EQ(client.pid(), std::nullopt) << allowed;
            failed = true;
        } else {
            EXPECT_EQ(line, "log Tunnel connected, setting up routes...") << allowed;
            controller->tell("disconnect");
            EXPECT_TRUE(controller->reads("status Disconnected")) << allowed;
            EXPECT_TRUE(waitFor([&] { return client.isGone(); }));
            started = true;
        }
    }
    EXPECT_TRUE(failed);
    EXPECT_TRUE(started);
}

} // namespace
} // namespace kestrelnet
