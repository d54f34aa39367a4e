#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/Capture.h"

namespace velmaro {

/// What head orientation is taken from: one particular camera, or the headphones. A value; the
/// camera's device is shared. Identifiers are fixed: see docs/behaviour.md.
class InputSource {
public:
    static InputSource camera(std::shared_ptr<CaptureDevice> device);
    static InputSource airpods();

    /// "camera_" and the device's unique identifier, or "airpods".
    [[nodiscard]] std::string id() const;

    /// The name for people.
    [[nodiscard]] std::string label() const;

    [[nodiscard]] bool isAirpods() const { return device_ == nullptr; }

    /// Null for the headphones.
    [[nodiscard]] const std::shared_ptr<CaptureDevice>& device() const { return device_; }

    /// Cameras are equal when their devices are the same object.
    bool operator==(const InputSource&) const = default;

private:
    explicit InputSource(std::shared_ptr<CaptureDevice> device);

    std::shared_ptr<CaptureDevice> device_;
};

}  // namespace velmaro

template <>
struct std::hash<velmaro::InputSource> {
    std::size_t operator()(const velmaro::InputSource& source) const noexcept;
};
