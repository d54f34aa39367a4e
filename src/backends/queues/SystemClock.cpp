#include "backends/queues/SystemClock.h"

#include <chrono>

namespace velmaro {

WallTime SystemClock::now() const {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace velmaro
