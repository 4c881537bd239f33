// SPDX-License-Identifier: MIT
#include "platform/Dispatch.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <deque>
#include <future>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace kestrelnet {

void asyncAndWait(Queue& queue, Queue::Job job) {
    auto done = std::make_shared<std::promise<void>>();
    const std::future<void> over = done->get_future();
    // The promise goes away with the job, whether that ran or not, and ends the wait.
    queue.async([job = std::move(job), done = std::move(done)] { job(); });
    over.wait();
}

namespace {

/// Where the main thread's event loop meets the queue: one posted event a job.
class MainQueue final : public Queue {
  public:
    MainQueue() : receiver_(std::make_unique<Receiver>(*this)) {
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                         receiver_.get(), [this] { leave(); });
    }

    void async(Job job) override {
        const std::lock_guard lock(mutex_);
        if (receiver_) {
            ready_.push_back(std::move(job));
            QCoreApplication::postEvent(receiver_.get(), new QEvent(jobReady));
        }
    }

    void asyncAfter(Seconds delay, Job job) override {
        const auto due =
            Clock::Time::clock::now() + std::chrono::duration_cast<Clock::Time::duration>(delay);
        const std::lock_guard lock(mutex_);
        if (receiver_) {
            delayed_.emplace(due, std::move(job));
            QCoreApplication::postEvent(receiver_.get(), new QEvent(jobDelayed));
        }
    }

  private:
    static constexpr auto jobReady = static_cast<QEvent::Type>(QEvent::User + 1);
    static constexpr auto jobDelayed = static_cast<QEvent::Type>(QEvent::User + 2);

    class Receiver final : public QObject {
      public:
        explicit Receiver(MainQueue& queue) : queue_(queue) {
            timer_.setSingleShot(true);
            timer_.setTimerType(Qt::PreciseTimer);
            QObject::connect(&timer_, &QTimer::timeout, this, [this] { queue_.runDue(); });
        }

        bool event(QEvent* event) override {
            if (event->type() == jobReady) {
                queue_.runNext();
                return true;
            }
            if (event->type() == jobDelayed) {
                queue_.awaitNextDue();
                return true;
            }
            return QObject::event(event);
        }

        QTimer timer_;

      private:
        MainQueue& queue_;
    };

    void runNext() {
        Job job;
        {
            const std::lock_guard lock(mutex_);
            if (ready_.empty()) {
                return;
            }
            job = std::move(ready_.front());
            ready_.pop_front();
        }
        job();
    }

    void awaitNextDue() {
        const std::lock_guard lock(mutex_);
        if (receiver_ && !delayed_.empty()) {
            const auto left = delayed_.begin()->first - Clock::Time::clock::now();
            const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(left);
            receiver_->timer_.start(std::max(milliseconds, std::chrono::milliseconds::zero()));
        }
    }

    void runDue() {
        const auto now = Clock::Time::clock::now();
        while (const Job job = takeDue(now)) {
            job();
        }
        awaitNextDue();
    }

    Job takeDue(Clock::Time now) {
        const std::lock_guard lock(mutex_);
        if (delayed_.empty() || delayed_.begin()->first > now) {
            return {};
        }
        return std::move(delayed_.extract(delayed_.begin()).mapped());
    }

    void leave() {
        std::deque<Job> ready;
        std::multimap<Clock::Time, Job> delayed;
        std::unique_ptr<Receiver> receiver;
        {
            const std::lock_guard lock(mutex_);
            ready.swap(ready_);
            delayed.swap(delayed_);
            receiver.swap(receiver_);
        }
        if (receiver) {
            // It may be on the stack: leaving can begin inside a job.
            receiver.release()->deleteLater();
        }
    }

    std::mutex mutex_;
    std::deque<Job> ready_;
    std::multimap<Clock::Time, Job> delayed_;
    std::unique_ptr<Receiver> receiver_;
};

/// A thread for each job: a job may sleep for seconds, and nothing joins the thread at exit, as a
/// pool would.
class BackgroundQueue final : public Queue {
  public:
    void async(Job job) override {
        try {
            std::thread(std::move(job)).detach();
        } catch (const std::system_error&) { // NOLINT(bugprone-empty-catch)
            // No thread to be had: the job is dropped.
        }
    }

    void asyncAfter(Seconds delay, Job job) override {
        async([delay, job = std::move(job)] {
            std::this_thread::sleep_for(delay);
            job();
        });
    }
};

class SystemClock final : public Clock {
  public:
    Time now() const override { return Time::clock::now(); }
    void sleep(Seconds duration) override { std::this_thread::sleep_for(duration); }
};

} // namespace

namespace dispatch {

std::shared_ptr<Queue> mainQueue() {
    static const auto queue = std::make_shared<MainQueue>();
    return queue;
}

std::shared_ptr<Queue> backgroundQueue() {
    static const auto queue = std::make_shared<BackgroundQueue>();
    return queue;
}

std::shared_ptr<Clock> systemClock() {
    static const auto clock = std::make_shared<SystemClock>();
    return clock;
}

} // namespace dispatch

} // namespace kestrelnet
