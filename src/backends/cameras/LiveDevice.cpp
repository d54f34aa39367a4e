#include "backends/cameras/LiveDevice.h"

#include <utility>

#include "backends/cameras/LiveSource.h"

namespace velmaro::cameras {

namespace {

class LiveDevice : public gstreamer::PlayableDevice {
public:
    LiveDevice(CameraDescription camera, std::shared_ptr<CameraRegistry> registry,
               Diagnostics& diagnostics)
        : camera_(std::move(camera)), registry_(std::move(registry)), diagnostics_(diagnostics) {}

    [[nodiscard]] const std::string& uniqueID() const override { return camera_.uniqueID; }
    [[nodiscard]] const std::string& localizedName() const override {
        return camera_.localizedName;
    }

    [[nodiscard]] Result<std::shared_ptr<CaptureDeviceInput>> makeInput() const override {
        if (!registry_->find(camera_.uniqueID)) {
            return tl::unexpected(absent(camera_));
        }
        return std::make_shared<gstreamer::DeviceInput>(
            [camera = camera_, registry = registry_, &diagnostics = diagnostics_] {
                return std::make_unique<LiveSource>(camera, registry, diagnostics);
            });
    }

private:
    const CameraDescription camera_;
    const std::shared_ptr<CameraRegistry> registry_;
    Diagnostics& diagnostics_;
};

}  // namespace

std::shared_ptr<gstreamer::PlayableDevice> makeLiveDevice(CameraDescription camera,
                                                          std::shared_ptr<CameraRegistry> registry,
                                                          Diagnostics& diagnostics) {
    return std::make_shared<LiveDevice>(std::move(camera), std::move(registry), diagnostics);
}

}  // namespace velmaro::cameras
