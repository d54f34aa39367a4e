#include "backends/cameras/LiveDevice.h"

#include <utility>

#include "backends/cameras/LiveSource.h"

namespace velmaro::cameras {

namespace {

class LiveDevice : public gstreamer::PlayableDevice {
public:
    LiveDevice(CameraDescription camera, std::shared_ptr<CameraRegistry> registry)
        : camera_(std::move(camera)), registry_(std::move(registry)) {}

    [[nodiscard]] const std::string& uniqueID() const override { return camera_.uniqueID; }
    [[nodiscard]] const std::string& localizedName() const override {
        return camera_.localizedName;
    }

    std::variant<std::shared_ptr<CaptureDeviceInput>, Error> open(
        const std::shared_ptr<gstreamer::Workers>& workers) override {
        if (!registry_->find(camera_.uniqueID)) {
            return absent(camera_);
        }
        return std::make_shared<gstreamer::DeviceInput>(
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

std::shared_ptr<gstreamer::PlayableDevice> makeLiveDevice(
    CameraDescription camera, std::shared_ptr<CameraRegistry> registry) {
    return std::make_shared<LiveDevice>(std::move(camera), std::move(registry));
}

}  // namespace velmaro::cameras
