// SPDX-License-Identifier: MIT
// Change notices of an observable object: one channel, on which every published member announces
// each assignment before the new value is stored.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace kestrelnet {

/// The notice channel of one object. Main thread only.
class ObservableObjectPublisher {
  public:
    using Observer = std::function<void()>;

    /// Ends its observation when destroyed; may outlive the channel.
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

    /// `observer` is called at every notice, in the order of subscription, until the subscription
    /// goes away. It may subscribe and end subscriptions; what it adds hears the next notice.
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

/// A member whose every assignment, of an equal value too, sends a notice and then stores.
template <typename Value>
class Published {
  public:
    /// `didSet`, when there is one, is called after each assignment with the value stored.
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

    // NOLINTNEXTLINE(google-explicit-constructor): reads like the value it holds.
    operator const Value&() const { return value_; }
    const Value& operator*() const { return value_; }
    const Value* operator->() const { return &value_; }

  private:
    const ObservableObjectPublisher& publisher_;
    Value value_;
    DidSet didSet_;
};

} // namespace kestrelnet
