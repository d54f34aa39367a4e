#include "backends/cameras/LiveCameras.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "backends/cameras/CameraMonitor.h"
#include "backends/cameras/LiveDevice.h"
#include "backends/cameras/VideoDevices.h"

namespace velmaro::cameras {

namespace {

class LiveCameras : public gstreamer::DeviceProvider {
public:
    LiveCameras(NotificationCenter& notificationCenter, Diagnostics& diagnostics,
                std::chrono::milliseconds patience);

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> devices() override;
    [[nodiscard]] bool isForbidden() const override;

private:
    [[nodiscard]] std::vector<CameraDescription> forbiddenCameras();

    Diagnostics& diagnostics_;
    const std::chrono::milliseconds patience_;
    CameraMonitor monitor_;
    bool hinted_ = false;
    // By lasting name: a camera that is plugged in again stays the same object.
    std::map<std::string, std::shared_ptr<CaptureDevice>> known_;
};

LiveCameras::LiveCameras(NotificationCenter& notificationCenter, Diagnostics& diagnostics,
                         std::chrono::milliseconds patience)
    : diagnostics_(diagnostics),
      patience_(patience),
      monitor_([&notificationCenter](CameraChange change) {
          notificationCenter.post({change == CameraChange::connected
                                       ? kCaptureDeviceWasConnected
                                       : kCaptureDeviceWasDisconnected,
                                   nullptr,
                                   {}});
      }) {}

std::vector<std::shared_ptr<CaptureDevice>> LiveCameras::devices() {
    monitor_.waitUntilListed(patience_);
    std::vector<CameraDescription> cameras = monitor_.registry()->cameras();
    if (cameras.empty()) {
        cameras = forbiddenCameras();
    }
    std::vector<std::shared_ptr<CaptureDevice>> devices;
    for (CameraDescription& camera : cameras) {
        std::shared_ptr<CaptureDevice>& device = known_[camera.uniqueID];
        if (!device || device->localizedName() != camera.localizedName) {
            device = makeLiveDevice(std::move(camera), monitor_.registry(), diagnostics_);
        }
        devices.push_back(device);
    }
    return devices;
}

// They are listed although they cannot be used, so that a person who picks one learns why.
std::vector<CameraDescription> LiveCameras::forbiddenCameras() {
    const auto forbidden = forbiddenVideoDevices();
    if (!forbidden.empty() && !hinted_) {
        hinted_ = true;
        diagnostics_.report({Diagnostic::Kind::warning, Diagnostic::Subject::camera,
                             "there are cameras, but this user may not open them",
                             "add the user to the group \"video\" (sudo usermod -aG video NAME) "
                             "and log in again"});
    }
    return describeVideoDevices(forbidden);
}

bool LiveCameras::isForbidden() const {
    return monitor_.registry()->cameras().empty() && !forbiddenVideoDevices().empty();
}

}  // namespace

std::unique_ptr<gstreamer::DeviceProvider> makeLiveCameras(NotificationCenter& notificationCenter,
                                                           Diagnostics& diagnostics,
                                                           std::chrono::milliseconds patience) {
    return std::make_unique<LiveCameras>(notificationCenter, diagnostics, patience);
}

}  // namespace velmaro::cameras
