#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace velmaro::fakes {

/// Waits until `condition` holds, which other threads or programs bring about; false if it does not
/// within `limit`. The limit only ends a test that fails: nothing is measured by it.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::steady_clock::duration limit = std::chrono::seconds(30)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace velmaro::fakes
