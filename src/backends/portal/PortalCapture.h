#pragma once

#include <memory>

#include "platform/Capture.h"
#include "platform/Diagnostics.h"

namespace velmaro {

class CameraPortal;

/// Another door to cameras, entered only with the desktop's permission.
class PortalCapture : public Capture {
public:
    /// Both outlive this one.
    PortalCapture(Capture& cameras, Diagnostics& diagnostics);
    ~PortalCapture() override;
    PortalCapture(const PortalCapture&) = delete;
    PortalCapture& operator=(const PortalCapture&) = delete;

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> discover(
        std::span<const CaptureDeviceType> types) override;
    /// What the system itself forbids nobody can allow.
    [[nodiscard]] AuthorizationStatus authorizationStatus() const override;
    /// `completion` is not called any more once this door is destroyed.
    void requestAccess(std::function<void(bool granted)> completion) override;

    std::shared_ptr<CaptureSession> makeSession() override;
    Result<std::shared_ptr<CaptureDeviceInput>> makeDeviceInput(
        const std::shared_ptr<CaptureDevice>& device) override;
    std::shared_ptr<VideoDataOutput> makeVideoDataOutput() override;

private:
    Capture& cameras_;
    const std::unique_ptr<CameraPortal> portal_;
};

}  // namespace velmaro
