// SPDX-License-Identifier: MIT
// Change notices of an observable object. All published members of the object share one publisher.
// Each assignment sends a notice before the new value is stored.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

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
        using Observers = std::map<std::uint64_t, std::shared_ptr<const Observer>>;

        Subscription(std::weak_ptr<Observers> observers, std::uint64_t id)
            : observers_(std::move(observers)), id_(id) {}
        void cancel() {
            if (const auto observers = observers_.lock()) {
                observers->erase(id_);
            }
            observers_.reset();
        }

        std::weak_ptr<Observers> observers_;
        std::uint64_t id_ = 0;
    };

    /// Calls `observer` at every notice, in the order of subscription, until the subscription is
    /// destroyed. The observer may subscribe and end subscriptions; a new subscription starts with
    /// the next notice.
    [[nodiscard]] Subscription subscribe(Observer observer) {
        const std::uint64_t id = ++lastId_;
        observers_->emplace(id, std::make_shared<const Observer>(std::move(observer)));
        return Subscription(observers_, id);
    }

    void send() const {
        const std::uint64_t last = lastId_;
        const auto observers = observers_;
        for (auto next = observers->begin(); next != observers->end() && next->first <= last;) {
            const std::uint64_t id = next->first;
            const auto observer = next->second;
            (*observer)();
            next = observers->upper_bound(id);
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
