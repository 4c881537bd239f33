// SPDX-License-Identifier: MIT
#include "platform/BackgroundThread.h"

#include <array>
#include <thread>
#include <utility>

namespace kestrelnet {

/// The threads without a job.
class BackgroundThread::Spares {
  public:
    /// Returns null when there is none.
    std::shared_ptr<BackgroundThread> take() {
        const std::lock_guard lock(mutex_);
        return count_ == 0 ? nullptr : std::move(threads_[--count_]);
    }

    /// Returns false when there are enough.
    bool add(const std::shared_ptr<BackgroundThread>& thread) {
        const std::lock_guard lock(mutex_);
        if (count_ == threads_.size()) {
            return false;
        }
        threads_[count_++] = thread;
        return true;
    }

  private:
    std::mutex mutex_;
    std::array<std::shared_ptr<BackgroundThread>, mostSpares> threads_;
    std::size_t count_ = 0;
};

BackgroundThread::Spares& BackgroundThread::spares() {
    // Never destroyed: threads use it until the end of the process.
    static Spares& spares = *new Spares;
    return spares;
}

std::shared_ptr<BackgroundThread> BackgroundThread::withJob(Queue::Job job) {
    std::shared_ptr<BackgroundThread> thread = spares().take();
    if (thread) {
        thread->job_ = std::move(job);
        return thread;
    }
    thread = std::make_shared<BackgroundThread>();
    thread->job_ = std::move(job);
    std::thread([thread] {
        do {
            thread->work();
        } while (spares().add(thread));
    }).detach();
    return thread;
}

void BackgroundThread::order(Order order) {
    const std::lock_guard lock(mutex_);
    order_ = order;
    ordered_.notify_one();
}

BackgroundThread::Order BackgroundThread::awaitOrder() {
    std::unique_lock lock(mutex_);
    ordered_.wait(lock, [this] { return order_.has_value(); });
    return *std::exchange(order_, std::nullopt);
}

void BackgroundThread::work() {
    const Order order = awaitOrder();
    if (order.delay) {
        std::this_thread::sleep_for(*order.delay);
        job_();
    }
    job_ = {};
}

} // namespace kestrelnet
