// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"
#include "tests/core/TunnelTest.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace kestrelnet {

/// Records the delays of the delayed jobs.
class NotingQueue : public BackgroundQueue {
  public:
    explicit NotingQueue(std::shared_ptr<BackgroundQueue> queue) : queue_(std::move(queue)) {}
    void async(Job job) override { queue_->async(std::move(job)); }
    void asyncAfter(Seconds delay, Job job) override {
        delays.push_back(delay.count());
        queue_->asyncAfter(delay, std::move(job));
    }
    std::optional<Error> prepare(Job job, std::unique_ptr<PreparedJob>& prepared) override {
        std::unique_ptr<PreparedJob> real;
        auto error = queue_->prepare(std::move(job), real);
        prepared = std::make_unique<NotingJob>(*this, std::move(real));
        return error;
    }
    std::vector<double> delays;

  private:
    class NotingJob : public PreparedJob {
      public:
        NotingJob(NotingQueue& queue, std::unique_ptr<PreparedJob> job)
            : queue_(&queue), job_(std::move(job)) {}
        void startAfter(Seconds delay) override {
            if (delay > Seconds::zero()) {
                queue_->delays.push_back(delay.count());
            }
            job_->startAfter(delay);
        }

      private:
        NotingQueue* queue_;
        std::unique_ptr<PreparedJob> job_;
    };

    std::shared_ptr<BackgroundQueue> queue_;
};

/// A controller without a helper: its client is launched behind the administrator prompt.
class PromptLaunchTest : public TunnelTest {
  protected:
    PromptLaunchTest() {
        world->platform.backgroundQueue = timers;
        restart();
    }

    /// Creates the controller again after a change of the platform, without a helper.
    void restart() {
        std::filesystem::remove(paths().helper);
        std::filesystem::create_directories(paths().temporaryDirectory);
        manager = makeManager();
    }

    /// Installs a working runner and reader. The runner passes the statement's command to a
    /// shell immediately, without asking for a password.
    void installWorkingPrograms() const {
        writeProgram("usr/bin/osascript", "statement=${2#'do shell script \"'}\n"
                                          "exec sh -c \"${statement%'\" with administrator "
                                          "privileges'}\"\n");
        writeProgram("usr/bin/tail", "exec cat \"$2\"\n");
    }

    void writeProgram(std::string_view name, std::string_view text) const {
        // Not through the link to a client.
        std::filesystem::remove(world->root.file(name));
        std::filesystem::permissions(world->root.write(name, "#!/bin/sh\n" + std::string(text)),
                                     std::filesystem::perms::owner_all);
    }

    FakeClient& installTunnelClient(std::string_view mode = "script") {
        return installAt(paths().home + "/.kestrelnet/kestrelnet-client", mode);
    }

    /// Connects with a client, a working runner and a working reader, and waits for the client.
    FakeClient& startBehindPrompt(std::string_view mode = "script") {
        installWorkingPrograms();
        FakeClient& client = installTunnelClient(mode);
        manager->connect();
        time.advance(Seconds(1));
        EXPECT_TRUE(time.waitHoldingMain([&] { return client.isReady(); })) << mode;
        return client;
    }

    /// Connects with a runner that does nothing: the prompt is shown until it exits.
    FakeClient& startPrompt(std::string_view mode = "script") {
        FakeClient& runner = installAt(paths().osascript, mode);
        manager->connect();
        EXPECT_TRUE(time.waitHoldingMain([&] { return runner.isReady(); }));
        return runner;
    }

    static struct stat statusOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status;
    }
    static unsigned modeOf(const std::string& path) { return statusOf(path).st_mode & 07777U; }

    std::string launcher() const { return temporary("kestrelnet-launcher.sh"); }
    std::string fifo() const { return temporary("kestrelnet-output.fifo"); }
    bool temporaryFilesExist() const {
        return std::filesystem::exists(launcher()) || std::filesystem::exists(fifo());
    }

    std::shared_ptr<NotingQueue> timers =
        std::make_shared<NotingQueue>(world->platform.backgroundQueue);
};

} // namespace kestrelnet
