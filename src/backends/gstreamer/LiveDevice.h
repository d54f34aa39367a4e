#pragma once

#include <memory>

#include "backends/gstreamer/CameraRegistry.h"
#include "backends/gstreamer/Device.h"

namespace velmaro::gstreamer {

/// A live camera's device, whose presence is looked up in `registry`.
[[nodiscard]] std::shared_ptr<Device> makeLiveDevice(CameraDescription camera,
                                                     std::shared_ptr<CameraRegistry> registry);

}  // namespace velmaro::gstreamer
