#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace velmaro {

/// What other threads hand to a test, in order.
template <typename Item>
class Mailbox {
public:
    void put(Item item) {
        const std::lock_guard lock(mutex_);
        items_.push_back(std::move(item));
        changed_.notify_all();
    }

    /// The next item, or nothing if none came in time.
    std::optional<Item> take(std::chrono::milliseconds patience = std::chrono::seconds(10)) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, patience, [this] { return !items_.empty(); })) {
            return std::nullopt;
        }
        Item item = std::move(items_.front());
        items_.pop_front();
        return item;
    }

    /// The next item if there is one now.
    std::optional<Item> takeNow() { return take(std::chrono::milliseconds(0)); }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Item> items_;
};

}  // namespace velmaro
