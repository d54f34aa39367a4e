#pragma once

#include <chrono>
#include <memory>

#include "backends/gstreamer/DeviceProvider.h"
#include "platform/Diagnostics.h"
#include "platform/NotificationCenter.h"

namespace velmaro::cameras {

/// The cameras of this computer, in the order in which they were found. Posts when one was
/// connected or disconnected. The first query waits at most `patience` for the system's answer. The
/// doors outlive everything made here.
[[nodiscard]] std::unique_ptr<gstreamer::DeviceProvider> makeLiveCameras(
    NotificationCenter& notificationCenter, Diagnostics& diagnostics,
    std::chrono::milliseconds patience);

}  // namespace velmaro::cameras
