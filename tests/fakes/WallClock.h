#pragma once

#include "platform/WallClock.h"

namespace velmaro::fakes {

/// A clock that stands still until a test sets it.
class ManualClock : public WallClock {
public:
    [[nodiscard]] WallTime now() const override { return time; }

    WallTime time = 0;
};

}  // namespace velmaro::fakes
