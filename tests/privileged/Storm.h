// SPDX-License-Identifier: MIT
#pragma once

#include "tests/privileged/RunProcesses.h"
#include "tests/support/Random.h"
#include "tests/support/polkit/PromptTest.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace kestrelnet {

/// What is done to a run, drawn before it starts.
struct Fault {
    /// Whether the moment counts from the start of the run, or else from the request to connect.
    bool waitsForStart;
    std::chrono::microseconds moment;
    /// The first of these that exist at that moment are killed.
    std::vector<Role> victims;
    std::size_t victimCount;
    /// Between the first victim and the second.
    std::chrono::microseconds pause;
    /// The process between the application and root is stopped, then the application is killed.
    bool stops;
};

/// One application and its run of the present round.
struct Slot {
    std::unique_ptr<ChildProgram> application;
    std::string key;
    bool isApplicationKilled = false;
    /// The launcher and the FIFO may stay when neither the application nor osascript is left to
    /// remove them.
    bool mayLeaveFiles = false;
    /// What was done to the run, for messages.
    std::string description;
};

/// A storm of random kills: whichever processes of a run are killed, and at whichever moment,
/// nothing of the run is left four seconds later.
///
/// In a round the application connects, and at a random moment one or two processes of the run get
/// SIGKILL, or the process between the application and root is stopped and the application killed.
/// After its rounds a storm prints what it has hit, and after all tests the number of rounds that
/// passed and failed.
class Storm : public PromptTest {
  protected:
    static void TearDownTestSuite();
    void TearDown() override;

    /// The part of a storm that depends on how runs become root.
    struct LaunchPath {
        const char* name;
        bool isByPrompt;
        std::vector<Role> roles;
        /// The process between the application and root, which may be stopped.
        Role intermediary;
        /// How many runs there are at a time, each with up to six processes. Each has lost one when
        /// the next one starts.
        std::size_t slots;
        std::function<std::chrono::microseconds(std::mt19937&)> moment;
        std::function<void(const FakeClient&)> installClient;
        std::function<void()> prepareBatch = [] {};
    };

    /// Plays `rounds` rounds; fewer when many fail.
    void runStorm(const LaunchPath& path, int rounds);

  private:
    void runBatch(const LaunchPath& path, int count);
    void startApplications();
    Fault draw(const LaunchPath& path);
    std::vector<RunProcess> lookAtRun(const LaunchPath& path, const Slot& slot) const;
    void inject(const LaunchPath& path, const Fault& fault, Slot& slot);
    void kill(Role role, pid_t pid, int signal, Slot& slot);

    std::vector<rootWorld::Survivor> left() const;
    bool endInTime(std::chrono::steady_clock::time_point first);
    void continueStopped();
    bool areApplicationsIdle() const;
    void checkBatch(const LaunchPath& path, std::chrono::steady_clock::time_point first);
    int failures() const;
    void fail(const LaunchPath& path, const std::string& reason);

    // Rounds of all tests.
    static inline int passed = 0;
    static inline int failed = 0;

    std::mt19937 random_ = seededGenerator();
    int round_ = 0;
    std::vector<Slot> slots_;
    std::unique_ptr<FakeClient> client_;
    /// By what was done to which process.
    std::map<std::string, int> hits_;
    int filesLeft_ = 0;
    int stayedStopped_ = 0;
    /// The most at a time.
    std::size_t processes_ = 0;
    std::chrono::steady_clock::duration longestEnd_{};
};

} // namespace kestrelnet
