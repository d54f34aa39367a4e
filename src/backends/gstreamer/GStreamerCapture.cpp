#include "backends/gstreamer/GStreamerCapture.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "backends/gstreamer/FileCameras.h"
#include "backends/gstreamer/LiveCameras.h"
#include "backends/gstreamer/Session.h"

namespace velmaro::gstreamer {

namespace {

/// Closing takes milliseconds unless a device hangs.
constexpr std::chrono::milliseconds kCloseLimit{2000};

}  // namespace

GStreamerCapture::GStreamerCapture(Dispatch& dispatch, NotificationCenter& notificationCenter,
                                   Telemetry& telemetry, CaptureOptions options)
    : services_(std::make_shared<const SessionServices>(SessionServices{
          dispatch, notificationCenter, telemetry, std::move(options.playbackEnded)})),
      workers_(std::make_shared<Workers>()),
      hasFiles_(!options.files.empty()) {
    providers_.push_back(std::make_unique<FileCameras>(options.files, options.playback));
    if (options.liveCameraPatience) {
        providers_.push_back(
            std::make_unique<LiveCameras>(notificationCenter, *options.liveCameraPatience));
    }
}

GStreamerCapture::~GStreamerCapture() {
    workers_->closeAll(kCloseLimit);
}

std::vector<std::shared_ptr<CaptureDevice>> GStreamerCapture::discover(
    std::span<const CaptureDeviceType> types) {
    std::vector<std::shared_ptr<CaptureDevice>> devices;
    for (const auto& provider : providers_) {
        auto found = provider->devices(types);
        devices.insert(devices.end(), found.begin(), found.end());
    }
    return devices;
}

AuthorizationStatus GStreamerCapture::authorizationStatus() const {
    const bool denied = !hasFiles_ && std::ranges::any_of(providers_, [](const auto& provider) {
        return provider->isForbidden();
    });
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
    return std::make_shared<Session>(services_);
}

std::variant<std::shared_ptr<CaptureDeviceInput>, Error> GStreamerCapture::makeDeviceInput(
    const std::shared_ptr<CaptureDevice>& device) {
    if (const auto ours = std::dynamic_pointer_cast<Device>(device)) {
        return ours->open(workers_);
    }
    return Error{"the device is not one of this capture's", "This camera cannot be used"};
}

std::shared_ptr<VideoDataOutput> GStreamerCapture::makeVideoDataOutput() {
    return std::make_shared<VideoOutput>();
}

}  // namespace velmaro::gstreamer
