#pragma once

#include <memory>
#include <utility>

namespace velmaro {

/// A value that one thread replaces whole while others read it: a reader keeps the version that it
/// loaded for as long as it likes.
///
/// std::atomic<std::shared_ptr> is the modern spelling, but the one of GCC 12 releases its internal
/// lock with relaxed order after a load, which ThreadSanitizer rightly reports; the free functions
/// used here have no such fault.
template <typename Value>
class Snapshot {
public:
    Snapshot() = default;
    explicit Snapshot(Value value) : current_(std::make_shared<const Value>(std::move(value))) {}
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot() = default;

    /// The latest version, or null if none was stored. Any thread.
    [[nodiscard]] std::shared_ptr<const Value> load() const {
        return std::atomic_load_explicit(&current_, std::memory_order_acquire);
    }

    /// Replaces the value. Any thread.
    void store(Value value) { store(std::make_shared<const Value>(std::move(value))); }
    void store(std::shared_ptr<const Value> value) {
        std::atomic_store_explicit(&current_, std::move(value), std::memory_order_release);
    }

    /// Leaves nothing to load. Any thread.
    void clear() { store(std::shared_ptr<const Value>()); }

private:
    std::shared_ptr<const Value> current_;
};

}  // namespace velmaro
