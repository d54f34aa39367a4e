#pragma once

#include "backends/motion/MotionSource.h"

namespace velmaro {

/// A recording that plays as connected headphones.
[[nodiscard]] const MotionSource& replayMotionSource();

}  // namespace velmaro
