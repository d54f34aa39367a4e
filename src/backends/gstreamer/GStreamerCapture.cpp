#include "backends/gstreamer/GStreamerCapture.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "backends/gstreamer/FileDevice.h"
#include "backends/gstreamer/GStreamerSession.h"
#include "backends/gstreamer/PlayableDevice.h"

namespace velmaro::gstreamer {

namespace {

/// Closing takes milliseconds unless a device hangs.
constexpr std::chrono::milliseconds kCloseLimit{2000};

}  // namespace

GStreamerCapture::GStreamerCapture(Dispatch& dispatch, NotificationCenter& notificationCenter,
                                   Telemetry& telemetry, Diagnostics& diagnostics,
                                   CaptureOptions options)
    : messages_(diagnostics),
      services_(std::make_shared<const SessionServices>(SessionServices{
          dispatch, notificationCenter, telemetry, diagnostics, std::make_shared<Workers>(),
          options.orientation, std::move(options.playbackEnded), options.longestStart})),
      files_(makeFileDevices(options.files, options.playback)),
      cameras_(std::move(options.cameras)) {}

GStreamerCapture::~GStreamerCapture() {
    services_->workers->closeAll(kCloseLimit);
}

std::vector<std::shared_ptr<CaptureDevice>> GStreamerCapture::discover(
    std::span<const CaptureDeviceType> types) {
    if (std::ranges::find(types, CaptureDeviceType::external) == types.end()) {
        return {};
    }
    std::vector<std::shared_ptr<CaptureDevice>> devices = files_;
    if (cameras_) {
        const auto found = cameras_->devices();
        devices.insert(devices.end(), found.begin(), found.end());
    }
    return devices;
}

AuthorizationStatus GStreamerCapture::authorizationStatus() const {
    const bool denied = files_.empty() && cameras_ && cameras_->isForbidden();
    return denied ? AuthorizationStatus::denied : AuthorizationStatus::authorized;
}

void GStreamerCapture::requestAccess(std::function<void(bool granted)> completion) {
    services_->dispatch.globalQueue(QualityOfService::standard)
        .async([completion = std::move(completion),
                granted = authorizationStatus() == AuthorizationStatus::authorized] {
            completion(granted);
        });
}

std::shared_ptr<CaptureSession> GStreamerCapture::makeSession() {
    return std::make_shared<GStreamerSession>(services_);
}

Result<std::shared_ptr<CaptureDeviceInput>> GStreamerCapture::makeDeviceInput(
    const std::shared_ptr<CaptureDevice>& device) {
    if (const auto ours = std::dynamic_pointer_cast<PlayableDevice>(device)) {
        return ours->makeInput();
    }
    return tl::unexpected(
        Error{"the device is not one of this capture's", "This camera cannot be used"});
}

std::shared_ptr<VideoDataOutput> GStreamerCapture::makeVideoDataOutput() {
    return std::make_shared<VideoOutput>();
}

}  // namespace velmaro::gstreamer
