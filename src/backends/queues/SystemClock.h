#pragma once

#include "platform/WallClock.h"

namespace velmaro {

/// The machine's own wall clock.
class SystemClock final : public WallClock {
public:
    [[nodiscard]] WallTime now() const override;
};

}  // namespace velmaro
