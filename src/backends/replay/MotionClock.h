#pragma once

#include <chrono>
#include <functional>

namespace velmaro {

/// Seconds on a clock that never steps.
using MotionClock = std::function<std::chrono::duration<double>()>;

inline std::chrono::duration<double> steadyMotionClock() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace velmaro
