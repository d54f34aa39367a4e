#pragma once

#include <memory>
#include <utility>

#include "platform/AtomicPointer.h"

namespace velmaro {

/// A value that one thread replaces whole while others read it: a reader keeps the version that it
/// loaded for as long as it likes.
template <typename Value>
class Snapshot {
public:
    Snapshot() = default;
    explicit Snapshot(Value value) : current_(std::make_shared<const Value>(std::move(value))) {}
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot() = default;

    /// The latest version, or null if none was stored. Any thread.
    [[nodiscard]] std::shared_ptr<const Value> load() const { return current_.load(); }

    /// Replaces the value. Any thread.
    void store(Value value) { store(std::make_shared<const Value>(std::move(value))); }
    void store(std::shared_ptr<const Value> value) { current_.store(std::move(value)); }

    /// Leaves nothing to load. Any thread.
    void clear() { store(std::shared_ptr<const Value>()); }

private:
    AtomicPointer<const Value> current_;
};

}  // namespace velmaro
