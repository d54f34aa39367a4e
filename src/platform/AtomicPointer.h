#pragma once

#include <memory>
#include <mutex>
#include <utility>

namespace velmaro {

/// A shared pointer that some threads replace while others read it. What was replaced is released
/// by the thread that replaced it, or by the last reader, and never under the lock.
///
/// std::atomic<std::shared_ptr> is the standard's, but the one of GCC 12 releases its internal lock
/// with relaxed order after a load, which ThreadSanitizer rightly reports; and the free functions
/// for shared pointers, which lock as well, are deprecated.
template <typename Value>
class AtomicPointer {
public:
    AtomicPointer() = default;
    explicit AtomicPointer(std::shared_ptr<Value> value) : value_(std::move(value)) {}
    AtomicPointer(const AtomicPointer&) = delete;
    AtomicPointer& operator=(const AtomicPointer&) = delete;
    ~AtomicPointer() = default;

    /// The latest one, or null. Any thread.
    [[nodiscard]] std::shared_ptr<Value> load() const {
        const std::lock_guard lock(mutex_);
        return value_;
    }

    /// Any thread.
    void store(std::shared_ptr<Value> value) { exchange(std::move(value)); }

    /// Replaces it and gives what was replaced. Any thread.
    std::shared_ptr<Value> exchange(std::shared_ptr<Value> value) {
        const std::lock_guard lock(mutex_);
        value_.swap(value);
        return value;
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Value> value_;
};

}  // namespace velmaro
