#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "backends/gstreamer/CameraMonitor.h"
#include "backends/gstreamer/CameraRegistry.h"
#include "backends/gstreamer/Device.h"
#include "platform/NotificationCenter.h"

namespace velmaro::gstreamer {

/// The cameras of this computer, as external ones, in the order in which they were found. Posts
/// when one was connected or disconnected.
class LiveCameras : public DeviceProvider {
public:
    /// The first query waits at most `patience` for the system's answer.
    LiveCameras(NotificationCenter& notificationCenter, std::chrono::milliseconds patience);

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> devices(
        std::span<const CaptureDeviceType> types) override;
    [[nodiscard]] bool isForbidden() const override;

private:
    [[nodiscard]] std::vector<CameraDescription> forbiddenCameras();

    const std::chrono::milliseconds patience_;
    CameraMonitor monitor_;
    bool hinted_ = false;
    // By lasting name: a camera that is plugged in again stays the same object.
    std::map<std::string, std::shared_ptr<CaptureDevice>> known_;
};

/// A live camera's device, whose presence is looked up in `registry`.
[[nodiscard]] std::shared_ptr<Device> makeLiveDevice(CameraDescription camera,
                                                     std::shared_ptr<CameraRegistry> registry);

}  // namespace velmaro::gstreamer
