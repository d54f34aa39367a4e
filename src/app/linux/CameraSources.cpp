#include "app/linux/CameraSources.h"

#include <chrono>
#include <string>

#include "app/linux/Resources.h"
#include "backends/cameras/LiveCameras.h"

namespace velmaro {
namespace {

/// The system answers within 60 ms; only a daemon that hangs, or GStreamer's very first look at its
/// plug-ins, needs this long.
constexpr std::chrono::milliseconds kCameraPatience{3000};
constexpr std::chrono::milliseconds kLongCameraPatience{10000};

}  // namespace

std::unique_ptr<gstreamer::DeviceProvider> makeLiveCameras(CameraSearch cameraSearch,
                                                           NotificationCenter& notificationCenter,
                                                           Diagnostics& diagnostics) {
    std::chrono::milliseconds patience{0};
    switch (cameraSearch) {
        case CameraSearch::none:
            return nullptr;
        case CameraSearch::listedLater:
            break;
        case CameraSearch::awaited:
            patience = kCameraPatience;
            break;
        case CameraSearch::awaitedPatiently:
            patience = kLongCameraPatience;
            break;
    }
    return cameras::makeLiveCameras(notificationCenter, diagnostics, patience);
}

std::vector<gstreamer::FileCamera> fileCameras(const Options& options) {
    std::vector<gstreamer::FileCamera> cameras;
    if (options.demo) {
        cameras.push_back({resource("demo/demo.webm"), "demo", "Demonstration"});
    }
    for (const std::string& file : options.cameraFiles) {
        cameras.push_back(gstreamer::FileCamera::fromPath(file));
    }
    return cameras;
}

bool needsPermission(const Options& options, const WantedSources& wanted) {
    return wanted.cameraSearch != CameraSearch::none && !options.demo &&
           options.cameraFiles.empty();
}

}  // namespace velmaro
