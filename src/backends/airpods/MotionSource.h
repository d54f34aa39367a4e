#pragma once

#include "backends/motion/MotionSource.h"

namespace velmaro {

/// AirPods at an address that is given; else those that are connected, unless another source is
/// asked for. VELMARO_AIRPODS_REVERSE lists angles to reverse.
[[nodiscard]] const MotionSource& airpodsMotionSource();

}  // namespace velmaro
