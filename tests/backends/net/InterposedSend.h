#pragma once

#include <atomic>

namespace velmaro::test {

/// Stands before the system's `send` in this test program.
struct InterposedSend {
    /// The flags that every call had.
    static std::atomic<int> commonFlags;
    /// If not 0, calls fail with this error.
    static std::atomic<int> error;

    InterposedSend() {
        commonFlags = ~0;
        error = 0;
    }
    ~InterposedSend() { error = 0; }
    InterposedSend(const InterposedSend&) = delete;
    InterposedSend& operator=(const InterposedSend&) = delete;
};

}  // namespace velmaro::test
