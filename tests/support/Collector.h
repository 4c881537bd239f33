// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Pipe.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kestrelnet {

/// Collects everything that a file handle reads. Any thread.
class Collector : public std::enable_shared_from_this<Collector> {
  public:
    static std::shared_ptr<Collector> attachTo(FileHandle& handle) {
        auto collector = std::make_shared<Collector>();
        handle.setReadabilityHandler(collector->handler());
        return collector;
    }

    FileHandle::ReadabilityHandler handler() {
        return [self = shared_from_this()](FileHandle& handle) { self->take(handle); };
    }

    std::string text() const {
        const std::lock_guard lock(mutex_);
        std::string all;
        for (const std::string& chunk : chunks_) {
            all += chunk;
        }
        return all;
    }
    std::vector<std::string> chunks() const {
        const std::lock_guard lock(mutex_);
        return chunks_;
    }
    /// The number of end-of-file notices.
    std::size_t ends() const {
        const std::lock_guard lock(mutex_);
        return ends_;
    }

  private:
    void take(FileHandle& handle) {
        std::string chunk = handle.availableData();
        const std::lock_guard lock(mutex_);
        if (chunk.empty()) {
            ++ends_;
        } else {
            chunks_.push_back(std::move(chunk));
        }
    }

    mutable std::mutex mutex_;
    std::vector<std::string> chunks_;
    std::size_t ends_ = 0;
};

} // namespace kestrelnet
