#include "backends/gstreamer/LiveCameras.h"

#include <algorithm>
#include <iostream>
#include <utility>

#include "backends/gstreamer/LiveSource.h"
#include "backends/gstreamer/VideoDevices.h"

namespace velmaro::gstreamer {

namespace {

class LiveDevice : public Device {
public:
    LiveDevice(CameraDescription camera, std::shared_ptr<CameraRegistry> registry)
        : camera_(std::move(camera)), registry_(std::move(registry)) {}

    [[nodiscard]] const std::string& uniqueID() const override { return camera_.uniqueID; }
    [[nodiscard]] const std::string& localizedName() const override {
        return camera_.localizedName;
    }

    std::variant<std::shared_ptr<CaptureDeviceInput>, Error> open(
        const std::shared_ptr<Workers>& workers) override {
        if (!registry_->find(camera_.uniqueID)) {
            return absent(camera_);
        }
        return std::make_shared<DeviceInput>(
            [camera = camera_, registry = registry_] {
                return std::make_unique<LiveSource>(camera, registry);
            },
            workers);
    }

private:
    const CameraDescription camera_;
    const std::shared_ptr<CameraRegistry> registry_;
};

}  // namespace

std::shared_ptr<Device> makeLiveDevice(CameraDescription camera,
                                       std::shared_ptr<CameraRegistry> registry) {
    return std::make_shared<LiveDevice>(std::move(camera), std::move(registry));
}

LiveCameras::LiveCameras(NotificationCenter& notificationCenter, std::chrono::milliseconds patience)
    : patience_(patience), monitor_([&notificationCenter](CameraChange change) {
          notificationCenter.post({change == CameraChange::connected
                                       ? kCaptureDeviceWasConnected
                                       : kCaptureDeviceWasDisconnected,
                                   nullptr,
                                   {}});
      }) {}

std::vector<std::shared_ptr<CaptureDevice>> LiveCameras::devices(
    std::span<const CaptureDeviceType> types) {
    if (std::ranges::find(types, CaptureDeviceType::external) == types.end()) {
        return {};
    }
    monitor_.waitUntilListed(patience_);
    std::vector<CameraDescription> cameras = monitor_.registry()->cameras();
    if (cameras.empty()) {
        cameras = forbiddenCameras();
    }
    std::vector<std::shared_ptr<CaptureDevice>> devices;
    for (CameraDescription& camera : cameras) {
        std::shared_ptr<CaptureDevice>& device = known_[camera.uniqueID];
        if (!device || device->localizedName() != camera.localizedName) {
            device = makeLiveDevice(std::move(camera), monitor_.registry());
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
        std::cerr << "velmaro: there are cameras, but this user may not open them: add the user to "
                     "the group \"video\" (sudo usermod -aG video NAME) and log in again\n";
    }
    return describeVideoDevices(forbidden);
}

bool LiveCameras::isForbidden() const {
    return monitor_.registry()->cameras().empty() && !forbiddenVideoDevices().empty();
}

}  // namespace velmaro::gstreamer
