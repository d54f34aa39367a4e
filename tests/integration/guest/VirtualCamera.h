#pragma once

#include <string>

namespace velmaro::integration {

/// The kernel's virtual camera, which shows what is sent into its video output: here a portrait. It
/// is plugged in when made and unplugged when destroyed.
class VirtualCamera {
public:
    /// Throws std::runtime_error with the tools' own words if there is no such camera.
    VirtualCamera();
    ~VirtualCamera();
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    /// Of the camera itself, such as /dev/video0.
    [[nodiscard]] const std::string& file() const { return camera_; }

private:
    std::string camera_;
    std::string output_;
};

}  // namespace velmaro::integration
