#include "backends/portal/PortalCapture.h"

#include <utility>

#include "backends/portal/CameraPortal.h"

namespace velmaro {

PortalCapture::PortalCapture(Capture& cameras, Diagnostics& diagnostics)
    : cameras_(cameras), portal_(std::make_unique<CameraPortal>(diagnostics)) {}

PortalCapture::~PortalCapture() = default;

std::vector<std::shared_ptr<CaptureDevice>> PortalCapture::discover(
    std::span<const CaptureDeviceType> types) {
    return cameras_.discover(types);
}

AuthorizationStatus PortalCapture::authorizationStatus() const {
    const AuthorizationStatus status = cameras_.authorizationStatus();
    return status == AuthorizationStatus::authorized ? portal_->status() : status;
}

void PortalCapture::requestAccess(std::function<void(bool granted)> completion) {
    portal_->requestAccess(std::move(completion));
}

std::shared_ptr<CaptureSession> PortalCapture::makeSession() {
    return cameras_.makeSession();
}

Result<std::shared_ptr<CaptureDeviceInput>> PortalCapture::makeDeviceInput(
    const std::shared_ptr<CaptureDevice>& device) {
    return cameras_.makeDeviceInput(device);
}

std::shared_ptr<VideoDataOutput> PortalCapture::makeVideoDataOutput() {
    return cameras_.makeVideoDataOutput();
}

}  // namespace velmaro
