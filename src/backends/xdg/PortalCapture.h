#pragma once

#include "backends/xdg/CameraPortal.h"
#include "platform/Capture.h"

namespace velmaro {

/// Another door to cameras, entered only with the desktop's permission.
class PortalCapture : public Capture {
public:
    /// `cameras` outlives this one.
    explicit PortalCapture(Capture& cameras) : cameras_(cameras) {}

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> discover(
        std::span<const CaptureDeviceType> types) override {
        return cameras_.discover(types);
    }

    /// What the system itself forbids nobody can allow.
    [[nodiscard]] AuthorizationStatus authorizationStatus() const override {
        const AuthorizationStatus status = cameras_.authorizationStatus();
        return status == AuthorizationStatus::authorized ? portal_.status() : status;
    }
    /// `completion` is not called any more once this door is destroyed.
    void requestAccess(std::function<void(bool granted)> completion) override {
        portal_.requestAccess(std::move(completion));
    }

    std::shared_ptr<CaptureSession> makeSession() override { return cameras_.makeSession(); }
    std::variant<std::shared_ptr<CaptureDeviceInput>, Error> makeDeviceInput(
        const std::shared_ptr<CaptureDevice>& device) override {
        return cameras_.makeDeviceInput(device);
    }
    std::shared_ptr<VideoDataOutput> makeVideoDataOutput() override {
        return cameras_.makeVideoDataOutput();
    }

private:
    Capture& cameras_;
    CameraPortal portal_;
};

}  // namespace velmaro
