#pragma once

#include "backends/motion/MotionSource.h"

namespace velmaro {

/// Head trackers of the Android Head Tracker HID protocol, which are looked for unless another
/// source is asked for.
[[nodiscard]] const MotionSource& hidMotionSource();

}  // namespace velmaro
