#pragma once

#include <memory>

#include "backends/cameras/CameraRegistry.h"
#include "backends/gstreamer/PlayableDevice.h"

namespace velmaro::cameras {

/// A live camera's device, whose presence is looked up in `registry`. `diagnostics` outlives it.
[[nodiscard]] std::shared_ptr<gstreamer::PlayableDevice> makeLiveDevice(
    CameraDescription camera, std::shared_ptr<CameraRegistry> registry, Diagnostics& diagnostics);

}  // namespace velmaro::cameras
