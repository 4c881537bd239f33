// SPDX-License-Identifier: MIT
#include "platform/Dispatch.h"

#include "platform/Log.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QTimer>

#include <algorithm>
#include <future>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace kestrelnet {

void asyncAndWait(Queue& queue, Queue::Job job) {
    auto done = std::make_shared<std::promise<void>>();
    const std::future<void> over = done->get_future();
    // The promise is destroyed with the job, whether it ran or was dropped; that ends the wait.
    queue.async([job = std::move(job), done = std::move(done)] { job(); });
    over.wait();
}

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

/// One detached thread per job: a job may sleep for seconds, and a thread pool would be joined when
/// the program exits.
class BackgroundQueue final : public Queue {
  public:
    void async(Job job) override {
        try {
            std::thread(std::move(job)).detach();
        } catch (const std::system_error& error) {
            log::warning(log::Category::system,
                         "a background job is dropped, because no thread can be created",
                         error.code());
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
