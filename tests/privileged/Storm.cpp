// SPDX-License-Identifier: MIT
#include "tests/privileged/Storm.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <set>
#include <sstream>
#include <thread>

namespace kestrelnet {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

namespace {

constexpr std::chrono::seconds endsWithin{4};
constexpr std::size_t mostProcesses = 40;
constexpr int mostFailures = 10;

constexpr std::array clientModes{"script",       "exits-on-terminate", "stubborn",
                                 "daemonises",   "keeps-grandchild",   "wraps",
                                 "keeps-daemon", "changes-user",       "stops-itself"};

} // namespace

void Storm::TearDownTestSuite() {
    std::cout << passed << " passed, " << failed << " failed" << std::endl;
}

void Storm::TearDown() {
    slots_.clear();
    PromptTest::TearDown();
}

// -- A round ------------------------------------------------------------------------------------

void Storm::startApplications() {
    std::vector<Slot*> started;
    for (Slot& slot : slots_) {
        if (slot.application == nullptr) {
            slot.application = std::make_unique<ChildProgram>(
                PolkitWorld::inSession({"/bin/sh", "-c", R"(exec "$0" 2>>/tmp/errors)",
                                        rootWorld::bundle + "/Contents/Linux/controller"}));
            started.push_back(&slot);
        }
    }
    for (Slot* slot : started) {
        EXPECT_TRUE(slot->application->reads("status Disconnected"));
    }
}

Fault Storm::draw(const LaunchPath& path) {
    const auto oneIn = [this](int many) {
        return std::uniform_int_distribution<int>(1, many)(random_) == 1;
    };
    Fault fault{.waitsForStart = !oneIn(8),
                .moment = path.moment(random_),
                .victims = path.roles,
                .victimCount = oneIn(3) ? 2U : 1U,
                .pause = microseconds(std::uniform_int_distribution<int>(0, 20'000)(random_)),
                .stops = oneIn(12)};
    std::shuffle(fault.victims.begin(), fault.victims.end(), random_);
    if (oneIn(2)) {
        fault.pause = 0us;
    }
    return fault;
}

std::vector<RunProcess> Storm::lookAtRun(const LaunchPath& path, const Slot& slot) const {
    std::vector<RunProcess> run;
    for (const rootWorld::Survivor& process : left()) {
        RunProcess seen = look(process);
        if (path.isByPrompt || seen.key == slot.key) {
            run.push_back(std::move(seen));
        }
    }
    return run;
}

void Storm::kill(Role role, pid_t pid, int signal, Slot& slot) {
    ::kill(pid, signal);
    const std::string done = (signal == SIGSTOP ? "stopped " : "") + std::string(name(role));
    ++hits_[done];
    slot.description += ", " + done + ' ' + std::to_string(pid);
}

void Storm::inject(const LaunchPath& path, const Fault& fault, Slot& slot) {
    const std::vector<RunProcess> run = lookAtRun(path, slot);
    processes_ = std::max(processes_, rootWorld::processes().size());
    const auto find = [&](Role role) {
        return processOf(role, run, slot.application->pid(), path.isByPrompt);
    };
    std::vector<std::pair<Role, pid_t>> victims;
    const auto add = [&](Role role) {
        if (const auto pid = find(role)) {
            victims.emplace_back(role, *pid);
        }
    };
    if (fault.stops) {
        add(path.intermediary);
        victims.emplace_back(Role::application, slot.application->pid());
    } else {
        for (const Role role : fault.victims) {
            if (victims.size() < fault.victimCount) {
                add(role);
            }
        }
    }
    const bool hasRemover = find(Role::osascript).has_value();
    for (std::size_t index = 0; index < victims.size(); ++index) {
        const auto& [role, pid] = victims[index];
        std::this_thread::sleep_for(index > 0 ? fault.pause : 0us);
        const bool isStop = fault.stops && role == path.intermediary;
        kill(role, pid, isStop ? SIGSTOP : SIGKILL, slot);
        if (role == Role::application) {
            slot.isApplicationKilled = true;
            // osascript removes the files for an application that ends before it.
            slot.mayLeaveFiles =
                path.isByPrompt && (!hasRemover || (victims.size() > 1 && !fault.stops));
        }
    }
}

// -- Its end ------------------------------------------------------------------------------------

std::vector<rootWorld::Survivor> Storm::left() const {
    std::vector<rootWorld::Survivor> found = rootWorld::processes();
    std::erase_if(found, [this](const rootWorld::Survivor& process) {
        constexpr std::array known{"dbus-daemon", "/usr/lib/polkit-1/polkitd",
                                   "authentication-agent"};
        return std::any_of(known.begin(), known.end(),
                           [&](const char* each) {
                               return process.command.find(each) != std::string::npos;
                           }) ||
               std::any_of(slots_.begin(), slots_.end(), [&](const Slot& slot) {
                   return slot.application != nullptr && slot.application->pid() == process.pid;
               });
    });
    return found;
}

/// Continues the stopped processes of the user once no others are left. The kernel does so when
/// their parent ends, but only with those that stand still by then.
void Storm::continueStopped() {
    std::vector<rootWorld::Survivor> stopped = left();
    std::erase_if(stopped, [](const auto& each) { return each.state == 'Z'; });
    if (std::all_of(stopped.begin(), stopped.end(), [](const auto& each) {
            return each.state == 'T' && each.uid == rootWorld::user.uid;
        })) {
        for (const rootWorld::Survivor& each : stopped) {
            ::kill(each.pid, SIGCONT);
            ++stayedStopped_;
        }
    }
}

/// Whether the applications that are alive use hardly any processor time now.
bool Storm::areApplicationsIdle() const {
    const auto used = [this] {
        std::chrono::nanoseconds sum{};
        for (const Slot& slot : slots_) {
            sum += processorTime(slot.application->pid());
        }
        return sum;
    };
    const auto before = used();
    std::this_thread::sleep_for(20ms);
    return used() - before < 2ms;
}

/// Whether all runs of the round end within the limit after the first fault: no process is left, no
/// file, and nothing uses processor time.
bool Storm::endInTime(Clock::time_point first) {
    const bool mayLeaveFiles = std::any_of(slots_.begin(), slots_.end(),
                                           [](const Slot& slot) { return slot.mayLeaveFiles; });
    const bool ended = waitFor([&] {
        continueStopped();
        return Clock::now() - first > endsWithin ||
               (left().empty() && (mayLeaveFiles || runFiles().empty()) && areApplicationsIdle());
    });
    const auto time = Clock::now() - first;
    longestEnd_ = std::max(longestEnd_, time);
    return ended && time <= endsWithin;
}

/// How many runs have processes left; all when it is unknown whose they are.
int Storm::failures() const {
    std::set<std::string> keys;
    for (const rootWorld::Survivor& survivor : left()) {
        keys.insert(look(survivor).key);
    }
    const auto count = std::count_if(slots_.begin(), slots_.end(),
                                     [&keys](const Slot& slot) { return keys.contains(slot.key); });
    return static_cast<int>(count > 0 ? count : std::ssize(slots_));
}

void Storm::fail(const LaunchPath& path, const std::string& reason) {
    std::ostringstream text;
    text << path.name << ", rounds up to " << round_ << ": " << reason;
    for (const Slot& slot : slots_) {
        text << "\n  " << slot.key << slot.description;
    }
    for (const rootWorld::Survivor& survivor : left()) {
        text << "\n  left: " << testing::PrintToString(survivor) << " of " << look(survivor).key;
    }
    text << "\n  files: " << testing::PrintToString(runFiles());
    ADD_FAILURE() << text.str();
    // The next rounds must not find what this one has left.
    for (const rootWorld::Survivor& survivor : left()) {
        ::kill(survivor.pid, SIGKILL);
    }
    for (Slot& slot : slots_) {
        slot.application.reset();
    }
}

void Storm::checkBatch(const LaunchPath& path, Clock::time_point first) {
    std::string problem = endInTime(first) ? "" : "something is left after four seconds";
    for (Slot& slot : slots_) {
        if (slot.isApplicationKilled) {
            slot.application.reset();
        } else if (problem.empty() && !slot.application->reads("status Error")) {
            problem = "an application has not noticed the end of its run";
        }
    }
    const int failedNow = problem.empty() ? 0 : failures();
    failed += failedNow;
    passed += static_cast<int>(slots_.size()) - failedNow;
    if (failedNow > 0) {
        fail(path, problem);
    }
    // Files that no process was left to remove.
    for (const std::string& file : runFiles()) {
        ++filesLeft_;
        fs::remove("/run/user/" + std::to_string(rootWorld::user.uid) + '/' + file);
    }
}

// -- All rounds ---------------------------------------------------------------------------------

/// `count` rounds at a time, with one kind of client.
void Storm::runBatch(const LaunchPath& path, int count) {
    const std::string mode =
        clientModes[std::uniform_int_distribution<std::size_t>(0, clientModes.size() - 1)(random_)];
    client_.reset();
    client_ = std::make_unique<FakeClient>(mode);
    fs::permissions(fs::path(client_->executable()).parent_path(), static_cast<fs::perms>(0755));
    path.installClient(*client_);
    path.prepareBatch();
    slots_.resize(static_cast<std::size_t>(count));
    startApplications();
    std::optional<Clock::time_point> first;
    for (Slot& slot : slots_) {
        slot.key = "dev_storm_round_" + std::to_string(++round_);
        slot.isApplicationKilled = false;
        slot.mayLeaveFiles = false;
        const Fault fault = draw(path);
        slot.description = ": " + mode + ", after " + std::to_string(fault.moment.count()) + " us";
        slot.application->tell("key " + slot.key);
        slot.application->tell("connect");
        if (fault.waitsForStart) {
            EXPECT_TRUE(slot.application->reads("status Connecting..."));
        }
        std::this_thread::sleep_for(fault.moment);
        first = first.value_or(Clock::now());
        inject(path, fault, slot);
    }
    checkBatch(path, *first);
}

void Storm::runStorm(const LaunchPath& path, int rounds) {
    constexpr int reportInterval = 100;
    const int failedBefore = failed;
    while (round_ < rounds && failed - failedBefore < mostFailures) {
        const int before = round_;
        runBatch(path, std::min(static_cast<int>(path.slots), rounds - round_));
        if (round_ / reportInterval > before / reportInterval) {
            std::cout << path.name << ": " << round_ << " rounds of " << rounds << std::endl;
        }
    }
    std::cout << path.name << ": " << round_ << " rounds, hit:";
    for (const auto& [victim, count] : hits_) {
        std::cout << ' ' << victim << ' ' << count << ',';
    }
    std::cout << " longest end "
              << std::chrono::duration_cast<std::chrono::milliseconds>(longestEnd_).count()
              << " ms, most processes " << processes_ << ", files left by killed processes "
              << filesLeft_ << ", processes that stayed stopped " << stayedStopped_ << std::endl;
    EXPECT_LE(processes_, mostProcesses);
    // In fewer rounds a process may be spared by chance.
    if (round_ == rounds && rounds >= reportInterval) {
        for (const Role role : path.roles) {
            EXPECT_GT(hits_[name(role)], 0) << name(role);
        }
        EXPECT_GT(hits_["stopped " + std::string(name(path.intermediary))], 0);
    }
}

} // namespace kestrelnet
