#pragma once

#include "platform/WallClock.h"

namespace velmaro::fakes {

/// A clock that stands still until a test sets it, or goes on by `tick` after each look at it.
class ManualClock : public WallClock {
public:
    [[nodiscard]] WallTime now() const override {
        const WallTime current = time;
        time += tick;
        ++looks;
        return current;
    }

    mutable WallTime time = 0;
    mutable int looks = 0;
    WallTime tick = 0;
};

}  // namespace velmaro::fakes
