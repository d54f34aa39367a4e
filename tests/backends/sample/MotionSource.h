#pragma once

#include "backends/motion/MotionSource.h"

namespace velmaro {

/// Headphones on a head that keeps still, turned to the right.
[[nodiscard]] const MotionSource& sampleMotionSource();

}  // namespace velmaro
