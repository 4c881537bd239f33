// SPDX-License-Identifier: MIT
// Change notices of an observable object. All published members of the object share one publisher.
// Each assignment sends a notice before the new value is stored.
#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace kestrelnet {

/// Sends the notices of one object. Main thread only.
class ObservableObjectPublisher {
  public:
    using Observer = std::function<void()>;

    /// Ends the subscription when destroyed. May outlive the publisher.
    class Subscription {
      public:
        Subscription() = default;
        Subscription(Subscription&&) = default;
        Subscription& operator=(Subscription&& other) noexcept {
            cancel();
            observers_ = std::move(other.observers_);
            id_ = other.id_;
            return *this;
        }
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;
        ~Subscription() { cancel(); }

      private:
        friend class ObservableObjectPublisher;
        /// An observer that is removed while notices are sent may be running: it is destroyed
        /// afterwards.
        struct Observers {
            using Map = std::map<std::uint64_t, Observer>;

            class Sending {
              public:
                explicit Sending(Observers& observers) : observers_(observers) {
                    ++observers_.sendings;
                }
                ~Sending() {
                    if (--observers_.sendings == 0 && !observers_.removed.empty()) {
                        // The destruction of an observer may remove others.
                        const auto leaving = std::exchange(observers_.removed, {});
                    }
                }
                Sending(const Sending&) = delete;
                Sending& operator=(const Sending&) = delete;

              private:
                Observers& observers_;
            };

            void remove(std::uint64_t id) {
                auto node = current.extract(id);
                ++removals;
                if (sendings > 0) {
                    removed.push_back(std::move(node));
                }
            }

            Map current;
            std::vector<Map::node_type> removed;
            std::uint64_t removals = 0;
            int sendings = 0;
        };

        Subscription(std::weak_ptr<Observers> observers, std::uint64_t id)
            : observers_(std::move(observers)), id_(id) {}
        void cancel() {
            if (const auto observers = observers_.lock()) {
                observers->remove(id_);
            }
            observers_.reset();
        }

        std::weak_ptr<Observers> observers_;
        std::uint64_t id_ = 0;
    };

    /// Calls `observer` at every notice, in the order of subscription, until the subscription is
    /// destroyed. The observer may subscribe and end subscriptions; a new subscription starts with
    /// the next notice. It may not destroy the publisher.
    [[nodiscard]] Subscription subscribe(Observer observer) {
        const std::uint64_t id = ++lastId_;
        observers_->current.emplace(id, std::move(observer));
        return Subscription(observers_, id);
    }

    /// A flood of output calls this for each line: so it copies and counts nothing shared.
    void send() const {
        const std::uint64_t last = lastId_;
        const Subscription::Observers::Sending sending(*observers_);
        const auto& current = observers_->current;
        for (auto next = current.begin(); next != current.end() && next->first <= last;) {
            const std::uint64_t id = next->first;
            const std::uint64_t removals = observers_->removals;
            next->second();
            next = observers_->removals == removals ? std::next(next) : current.upper_bound(id);
        }
    }

  private:
    std::shared_ptr<Subscription::Observers> observers_ =
        std::make_shared<Subscription::Observers>();
    std::uint64_t lastId_ = 0;
};

/// A member of an observable object. Every assignment, even of an equal value, sends a notice and
/// then stores the value.
template <typename Value>
class Published {
  public:
    /// Called after each assignment with the stored value.
    using DidSet = std::function<void(const Value&)>;

    explicit Published(const ObservableObjectPublisher& publisher, Value initial = {},
                       DidSet didSet = {})
        : publisher_(publisher), value_(std::move(initial)), didSet_(std::move(didSet)) {}
    Published(const Published&) = delete;
    Published& operator=(const Published&) = delete;
    ~Published() = default;

    template <typename NewValue>
    Published& operator=(NewValue&& value) {
        publisher_.send();
        value_ = std::forward<NewValue>(value);
        if (didSet_) {
            didSet_(value_);
        }
        return *this;
    }

    // NOLINTNEXTLINE(google-explicit-constructor): used like the value itself.
    operator const Value&() const { return value_; }
    const Value& operator*() const { return value_; }
    const Value* operator->() const { return &value_; }

  private:
    const ObservableObjectPublisher& publisher_;
    Value value_;
    DidSet didSet_;
};

} // namespace kestrelnet
