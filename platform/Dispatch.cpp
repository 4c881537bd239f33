// SPDX-License-Identifier: MIT
#include "platform/Dispatch.h"

#include "platform/BackgroundThread.h"
#include "platform/Log.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace kestrelnet {

namespace {

/// Posts each job to an object that lives on the main thread. The event loop keeps the jobs and
/// their order; destroying the object's events and timers destroys the jobs that wait.
class MainQueue final : public Queue {
  public:
    MainQueue() : receiver_(std::make_unique<QObject>()) {
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit,
                         receiver_.get(), [this] { leave(); });
    }

    void async(Job job) override {
        const std::lock_guard lock(mutex_);
        if (receiver_) {
            QMetaObject::invokeMethod(receiver_.get(), std::move(job), Qt::QueuedConnection);
        }
    }

    void asyncAfter(Seconds delay, Job job) override {
        const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(delay);
        const std::lock_guard lock(mutex_);
        if (!receiver_) {
            return;
        }
        // A timer must be started on the thread of its parent: at once when this is that thread.
        QMetaObject::invokeMethod(
            receiver_.get(),
            [receiver = receiver_.get(), milliseconds, job = std::move(job)] {
                auto* const timer = new QTimer(receiver);
                timer->setSingleShot(true);
                // Coarse timers may run early, and out of order.
                timer->setTimerType(Qt::PreciseTimer);
                QObject::connect(timer, &QTimer::timeout, timer, job);
                QObject::connect(timer, &QTimer::timeout, timer, &QObject::deleteLater);
                timer->start(std::max(milliseconds, std::chrono::milliseconds::zero()));
            },
            Qt::AutoConnection);
    }

  private:
    void leave() {
        std::unique_ptr<QObject> receiver;
        {
            const std::lock_guard lock(mutex_);
            receiver.swap(receiver_);
        }
        if (!receiver) {
            return;
        }
        // Destroys the jobs, which may call this queue: so without the mutex.
        QCoreApplication::removePostedEvents(receiver.get());
        for (QTimer* const timer : receiver->findChildren<QTimer*>()) {
            timer->stop();
        }
        // Leaving can begin inside a job, while the receiver handles an event.
        receiver.release()->deleteLater();
    }

    std::mutex mutex_;
    std::unique_ptr<QObject> receiver_;
};

/// A job with its thread.
class WaitingJob final : public PreparedJob {
  public:
    /// Throws std::system_error when there is no thread.
    explicit WaitingJob(Queue::Job job) : thread_(BackgroundThread::withJob(std::move(job))) {}
    ~WaitingJob() override {
        if (thread_) {
            thread_->drop();
        }
    }
    WaitingJob(const WaitingJob&) = delete;
    WaitingJob& operator=(const WaitingJob&) = delete;

    void startAfter(Seconds delay) override { std::exchange(thread_, nullptr)->run(delay); }

  private:
    std::shared_ptr<BackgroundThread> thread_;
};

/// Not a thread pool with an upper limit: a job may sleep for seconds, and such a pool would be
/// joined when the program exits.
class ThreadPerJob final : public BackgroundQueue {
  public:
    void async(Job job) override { asyncAfter(Seconds::zero(), std::move(job)); }

    void asyncAfter(Seconds delay, Job job) override {
        std::unique_ptr<PreparedJob> prepared;
        if (const auto error = prepare(std::move(job), prepared)) {
            log::warning(log::Category::system,
                         "a background job is dropped, because no thread can be created: " +
                             error->description);
            return;
        }
        prepared->startAfter(delay);
    }

    std::optional<Error> prepare(Job job, std::unique_ptr<PreparedJob>& prepared) override {
        try {
            prepared = std::make_unique<WaitingJob>(std::move(job));
            return std::nullopt;
        } catch (const std::system_error& error) {
            return Error{error.code().message()};
        }
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

std::shared_ptr<BackgroundQueue> backgroundQueue() {
    static const auto queue = std::make_shared<ThreadPerJob>();
    return queue;
}

std::shared_ptr<Clock> systemClock() {
    static const auto clock = std::make_shared<SystemClock>();
    return clock;
}

} // namespace dispatch

} // namespace kestrelnet
