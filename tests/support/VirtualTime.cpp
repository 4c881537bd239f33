// SPDX-License-Identifier: MIT
#include "tests/support/VirtualTime.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace kestrelnet {

namespace {

constexpr std::chrono::seconds waitLimit{30};
// Real time between two checks of a condition.
constexpr std::chrono::milliseconds checkInterval{1};

Clock::Time after(Clock::Time time, Seconds duration) {
    return time + std::chrono::round<Clock::Time::duration>(duration);
}

} // namespace

struct VirtualTime::State : std::enable_shared_from_this<State> {
    // Equal times keep the order of insertion.
    using Jobs = std::multimap<Clock::Time, Queue::Job>;
    struct Sleeper {
        bool woken = false;
    };

    std::mutex mutex;
    std::condition_variable changed;
    Clock::Time now{};
    bool closed = false;
    Jobs mainJobs;
    Jobs backgroundJobs;
    std::multimap<Clock::Time, Sleeper*> sleepers;
    std::vector<std::thread> threads;
    std::size_t awake = 0;

    // A dropped job is destroyed after the lock is released, because its destructor may post.
    void add(Jobs& jobs, Seconds delay, Queue::Job job) {
        const std::lock_guard lock(mutex);
        if (!closed) {
            jobs.emplace(after(now, std::max(delay, Seconds::zero())), std::move(job));
            changed.notify_all();
        }
    }

    void startDueBackgroundJobs(const std::unique_lock<std::mutex>& /*held*/) {
        while (!backgroundJobs.empty() && backgroundJobs.begin()->first <= now) {
            const auto due = backgroundJobs.extract(backgroundJobs.begin());
            try {
                threads.emplace_back(
                    [state = shared_from_this(), job = std::move(due.mapped())]() mutable {
                        job();
                        job = {};
                        const std::lock_guard lock(state->mutex);
                        --state->awake;
                        state->changed.notify_all();
                    });
                ++awake;
            } catch (const std::system_error&) {
                // Without a thread, the job is dropped.
            }
        }
    }

    void wakeDueSleepers(const std::unique_lock<std::mutex>& /*held*/) {
        const auto last = closed ? sleepers.end() : sleepers.upper_bound(now);
        for (auto next = sleepers.begin(); next != last; next = sleepers.erase(next)) {
            next->second->woken = true;
            ++awake;
        }
        changed.notify_all();
    }

    std::optional<Clock::Time> nextEvent(const std::unique_lock<std::mutex>& /*held*/) const {
        std::optional<Clock::Time> next;
        const auto consider = [&next](const auto& events) {
            if (!events.empty() && (!next || events.begin()->first < *next)) {
                next = events.begin()->first;
            }
        };
        consider(mainJobs);
        consider(backgroundJobs);
        consider(sleepers);
        return next;
    }
};

class VirtualTime::MainQueue : public Queue {
  public:
    explicit MainQueue(std::shared_ptr<State> state) : state_(std::move(state)) {}
    void async(Job job) override { asyncAfter(Seconds::zero(), std::move(job)); }
    void asyncAfter(Seconds delay, Job job) override {
        state_->add(state_->mainJobs, delay, std::move(job));
    }

  private:
    std::shared_ptr<State> state_;
};

class VirtualTime::VirtualClock : public Clock {
  public:
    explicit VirtualClock(std::shared_ptr<State> state) : state_(std::move(state)) {}

    Time now() const override {
        const std::lock_guard lock(state_->mutex);
        return state_->now;
    }

    void sleep(Seconds duration) override {
        std::unique_lock lock(state_->mutex);
        const Time until = after(state_->now, duration);
        if (until <= state_->now) {
            return;
        }
        if (!state_->closed) {
            State::Sleeper sleeper;
            state_->sleepers.emplace(until, &sleeper);
            --state_->awake;
            state_->changed.notify_all();
            state_->changed.wait(lock, [&sleeper] { return sleeper.woken; });
        }
        if (state_->closed) {
            // So that a loop that sleeps until a certain time ends.
            state_->now = std::max(state_->now, until);
        }
    }

  private:
    std::shared_ptr<State> state_;
};

/// The thread waits for the start without counting as awake.
class VirtualTime::VirtualPreparedJob : public PreparedJob {
  public:
    /// Throws std::system_error when no thread can be created.
    VirtualPreparedJob(std::shared_ptr<State> state, Queue::Job job) : state_(std::move(state)) {
        const std::lock_guard lock(state_->mutex);
        state_->threads.emplace_back([state = state_, turn = turn_,
                                      job = std::move(job)]() mutable { run(state, *turn, job); });
    }
    ~VirtualPreparedJob() override { set(Turn{.isDropped = true}); }
    VirtualPreparedJob(const VirtualPreparedJob&) = delete;
    VirtualPreparedJob& operator=(const VirtualPreparedJob&) = delete;

    void startAfter(Seconds delay) override { set(Turn{.isStarted = true, .delay = delay}); }

  private:
    struct Turn {
        bool isStarted = false;
        bool isDropped = false;
        Seconds delay{};
    };

    /// The first call counts.
    void set(const Turn& turn) {
        const std::lock_guard lock(state_->mutex);
        if (turn_->isStarted || turn_->isDropped || state_->closed) {
            return;
        }
        *turn_ = turn;
        state_->awake += turn.isStarted ? 1 : 0;
        state_->changed.notify_all();
    }

    static void run(const std::shared_ptr<State>& state, const Turn& turn, Queue::Job& job) {
        {
            std::unique_lock lock(state->mutex);
            state->changed.wait(lock,
                                [&] { return turn.isStarted || turn.isDropped || state->closed; });
            if (!turn.isStarted) {
                return;
            }
        }
        VirtualClock(state).sleep(turn.delay);
        bool isClosed = false;
        {
            const std::lock_guard lock(state->mutex);
            isClosed = state->closed;
        }
        if (turn.delay == Seconds::zero() || !isClosed) {
            job();
        }
        job = {};
        const std::lock_guard lock(state->mutex);
        --state->awake;
        state->changed.notify_all();
    }

    std::shared_ptr<State> state_;
    std::shared_ptr<Turn> turn_ = std::make_shared<Turn>();
};

class VirtualTime::VirtualBackgroundQueue : public BackgroundQueue {
  public:
    explicit VirtualBackgroundQueue(std::shared_ptr<State> state) : state_(std::move(state)) {}
    void async(Job job) override { asyncAfter(Seconds::zero(), std::move(job)); }
    void asyncAfter(Seconds delay, Job job) override {
        state_->add(state_->backgroundJobs, delay, std::move(job));
        const std::unique_lock lock(state_->mutex);
        state_->startDueBackgroundJobs(lock);
    }
    std::optional<Error> prepare(Job job, std::unique_ptr<PreparedJob>& prepared) override {
        try {
            prepared = std::make_unique<VirtualPreparedJob>(state_, std::move(job));
            return std::nullopt;
        } catch (const std::system_error& error) {
            return Error{error.code().message()};
        }
    }

  private:
    std::shared_ptr<State> state_;
};

VirtualTime::VirtualTime()
    : state_(std::make_shared<State>()), mainQueue_(std::make_shared<MainQueue>(state_)),
      backgroundQueue_(std::make_shared<VirtualBackgroundQueue>(state_)),
      clock_(std::make_shared<VirtualClock>(state_)) {}

VirtualTime::~VirtualTime() {
    State::Jobs droppedMain;
    State::Jobs droppedBackground;
    std::vector<std::thread> threads;
    {
        const std::unique_lock lock(state_->mutex);
        state_->closed = true;
        droppedMain.swap(state_->mainJobs);
        droppedBackground.swap(state_->backgroundJobs);
        threads.swap(state_->threads);
        state_->wakeDueSleepers(lock);
    }
    droppedMain.clear();
    droppedBackground.clear();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::shared_ptr<Queue> VirtualTime::mainQueue() const {
    return mainQueue_;
}

std::shared_ptr<BackgroundQueue> VirtualTime::backgroundQueue() const {
    return backgroundQueue_;
}

std::shared_ptr<Clock> VirtualTime::clock() const {
    return clock_;
}

bool VirtualTime::runOne() {
    Queue::Job job;
    {
        const std::lock_guard lock(state_->mutex);
        auto& jobs = state_->mainJobs;
        if (jobs.empty() || jobs.begin()->first > state_->now) {
            return false;
        }
        job = std::move(jobs.begin()->second);
        jobs.erase(jobs.begin());
    }
    job();
    return true;
}

void VirtualTime::runPending() {
    while (runOne()) {
    }
}

void VirtualTime::advance(Seconds duration) {
    Clock::Time end;
    {
        const std::lock_guard lock(state_->mutex);
        end = after(state_->now, duration);
    }
    for (bool passed = false; !passed;) {
        settle();
        runPending();
        settle();
        const std::unique_lock lock(state_->mutex);
        const auto next = state_->nextEvent(lock);
        passed = state_->now >= end && (!next || *next > end);
        state_->now = std::max(state_->now, std::min(next.value_or(end), end));
        state_->wakeDueSleepers(lock);
        state_->startDueBackgroundJobs(lock);
    }
}

bool VirtualTime::waitUntil(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + waitLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        if (QCoreApplication::instance() != nullptr) {
            QCoreApplication::processEvents();
        }
        if (!runOne()) {
            std::unique_lock lock(state_->mutex);
            state_->changed.wait_for(lock, checkInterval);
        }
    }
    return true;
}

bool VirtualTime::waitHoldingMain(const Condition& condition) const {
    const auto deadline = std::chrono::steady_clock::now() + waitLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::unique_lock lock(state_->mutex);
        state_->changed.wait_for(lock, checkInterval);
    }
    return true;
}

void VirtualTime::settle() const {
    std::unique_lock lock(state_->mutex);
    if (!state_->changed.wait_for(lock, waitLimit, [this] { return state_->awake == 0; })) {
        ADD_FAILURE() << "a background job neither sleeps nor ends";
    }
}

std::size_t VirtualTime::pendingCount() const {
    const std::lock_guard lock(state_->mutex);
    return static_cast<std::size_t>(
        std::distance(state_->mainJobs.begin(), state_->mainJobs.upper_bound(state_->now)));
}

std::size_t VirtualTime::sleeperCount() const {
    const std::lock_guard lock(state_->mutex);
    return state_->sleepers.size();
}

} // namespace kestrelnet
