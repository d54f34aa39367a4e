#include "app/InputSource.h"

#include <utility>

namespace velmaro {

InputSource::InputSource(std::shared_ptr<CaptureDevice> device) : device_(std::move(device)) {}

InputSource InputSource::camera(std::shared_ptr<CaptureDevice> device) {
    return InputSource(std::move(device));
}

InputSource InputSource::airpods() {
    return InputSource(nullptr);
}

std::string InputSource::id() const {
    return device_ ? "camera_" + device_->uniqueID() : "airpods";
}

std::string InputSource::label() const {
    return device_ ? device_->localizedName() : "AirPods";
}

}  // namespace velmaro

// The discriminator is 0 for a camera, followed by its device, and 1 for the headphones.
std::size_t std::hash<velmaro::InputSource>::operator()(
    const velmaro::InputSource& source) const noexcept {
    if (source.isAirpods()) {
        return std::hash<int>()(1);
    }
    const std::size_t device =
        std::hash<std::shared_ptr<velmaro::CaptureDevice>>()(source.device());
    return std::hash<int>()(0) ^ (device + 0x9e3779b9U);
}
