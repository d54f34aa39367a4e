#pragma once

#include <memory>
#include <vector>

#include "app/CommandLine.h"
#include "app/linux/WantedSources.h"
#include "backends/gstreamer/DeviceProvider.h"
#include "backends/gstreamer/FileCamera.h"
#include "platform/Diagnostics.h"
#include "platform/NotificationCenter.h"

namespace velmaro {

/// The cameras of this computer; null if they are not even looked for. The notifications and the
/// diagnostics outlive them.
[[nodiscard]] std::unique_ptr<gstreamer::DeviceProvider> makeLiveCameras(
    CameraSearch cameraSearch, NotificationCenter& notificationCenter, Diagnostics& diagnostics);

/// The files that stand for cameras, the demonstration first.
[[nodiscard]] std::vector<gstreamer::FileCamera> fileCameras(const Options& options);

/// Whether the desktop is asked before a camera is opened. Who names a file has allowed it by that.
[[nodiscard]] bool needsPermission(const Options& options, const WantedSources& wanted);

}  // namespace velmaro
