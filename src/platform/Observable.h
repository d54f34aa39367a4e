#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/Snapshot.h"

namespace velmaro {

/// Ends an observation when it is destroyed or reset.
using Subscription = std::shared_ptr<void>;

namespace detail {

template <typename... Arguments>
class ObserverList {
public:
    using Observer = std::function<void(Arguments...)>;

    [[nodiscard]] Subscription add(Observer observer) {
        const std::uint64_t key = nextKey_++;
        observers_->emplace(key, std::make_shared<Observer>(std::move(observer)));
        const std::weak_ptr<Map> weakObservers = observers_;
        return {nullptr, [weakObservers, key](void*) {
                    if (const auto observers = weakObservers.lock()) {
                        observers->erase(key);
                    }
                }};
    }

    void notify(const Arguments&... arguments) const {
        if (observers_->empty()) {
            return;
        }
        // An observer may add or end observations, its own included.
        const Map current = *observers_;
        for (const auto& [key, observer] : current) {
            if (observers_->contains(key)) {
                (*observer)(arguments...);
            }
        }
    }

private:
    using Map = std::map<std::uint64_t, std::shared_ptr<Observer>>;
    std::shared_ptr<Map> observers_ = std::make_shared<Map>();
    std::uint64_t nextKey_ = 0;
};

}  // namespace detail

/// An object that tells its observers before each assignment to one of its `Published` fields,
/// whether or not the value differs. Observers are added, told and removed on the main thread.
class Observable {
public:
    Observable() = default;
    Observable(const Observable&) = delete;
    Observable& operator=(const Observable&) = delete;
    virtual ~Observable() = default;

    /// Calls `observer` before every change, until the subscription is released. Main thread.
    [[nodiscard]] Subscription observeChanges(std::function<void()> observer) {
        return observers_.add(std::move(observer));
    }

    /// Tells the observers that something is about to change. Main thread.
    void objectWillChange() const { observers_.notify(); }

private:
    detail::ObserverList<> observers_;
};

/// A field of an `Observable`. Assigned on the main thread only; read on any thread: numbers and
/// flags are relaxed atomics, everything else is an immutable version that is swapped whole.
template <typename Value>
class Published {
public:
    Published(Observable& owner, Value initial) : owner_(owner), value_(std::move(initial)) {}

    /// Tells the owner's observers, then this field's with the new value, then stores it.
    Published& operator=(Value value) {
        owner_.objectWillChange();
        observers_.notify(value);
        if constexpr (isScalar) {
            value_.store(value, std::memory_order_relaxed);
        } else {
            value_.store(std::move(value));
        }
        return *this;
    }

    /// The current value; a copy unless it is a number or a flag. Any thread.
    [[nodiscard]] Value get() const {
        if constexpr (isScalar) {
            return value_.load(std::memory_order_relaxed);
        } else {
            return *value_.load();
        }
    }

    /// The current version, without a copy. Any thread.
    [[nodiscard]] std::shared_ptr<const Value> snapshot() const
        requires(!std::is_arithmetic_v<Value>) {
        return value_.load();
    }

    /// Calls `observer` with the current value at once and then with each value that is assigned,
    /// changed or not, before it is stored. Main thread.
    [[nodiscard]] Subscription observe(std::function<void(const Value&)> observer) {
        observer(get());
        return observers_.add(std::move(observer));
    }

private:
    static constexpr bool isScalar = std::is_arithmetic_v<Value>;

    Observable& owner_;
    std::conditional_t<isScalar, std::atomic<Value>, Snapshot<Value>> value_;
    detail::ObserverList<Value> observers_;
};

}  // namespace velmaro
