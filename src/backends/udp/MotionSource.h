#pragma once

#include "backends/motion/MotionSource.h"

namespace velmaro {

/// Another tracker that sends its angles by UDP. VELMARO_MOTION_UDP_REVERSE lists angles to
/// reverse.
[[nodiscard]] const MotionSource& udpMotionSource();

}  // namespace velmaro
