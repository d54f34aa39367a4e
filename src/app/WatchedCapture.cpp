#include "app/WatchedCapture.h"

#include <utility>

namespace velmaro {
namespace {

constexpr const char* kDenied = "Camera access denied";
constexpr const char* kForbidden = "Camera access denied - check System Preferences";

}  // namespace

WatchedCapture::WatchedCapture(Capture& capture,
                               std::function<void(const CaptureRefusal&)> onRefusal)
    : capture_(capture), onRefusal_(std::move(onRefusal)) {}

std::vector<std::shared_ptr<CaptureDevice>> WatchedCapture::discover(
    std::span<const CaptureDeviceType> types) {
    return capture_.discover(types);
}

AuthorizationStatus WatchedCapture::authorizationStatus() const {
    const AuthorizationStatus status = capture_.authorizationStatus();
    if (status == AuthorizationStatus::denied || status == AuthorizationStatus::restricted) {
        onRefusal_({CaptureRefusal::Reason::accessDenied, kForbidden});
    }
    return status;
}

void WatchedCapture::requestAccess(std::function<void(bool granted)> completion) {
    capture_.requestAccess(
        [onRefusal = onRefusal_, completion = std::move(completion)](bool granted) {
            if (!granted) {
                onRefusal({CaptureRefusal::Reason::accessDenied, kDenied});
            }
            completion(granted);
        });
}

std::shared_ptr<CaptureSession> WatchedCapture::makeSession() {
    return capture_.makeSession();
}

Result<std::shared_ptr<CaptureDeviceInput>> WatchedCapture::makeDeviceInput(
    const std::shared_ptr<CaptureDevice>& device) {
    auto input = capture_.makeDeviceInput(device);
    if (!input) {
        onRefusal_({CaptureRefusal::Reason::cannotOpen,
                    "❌ Erreur: " + input.error().localizedDescription});
    }
    return input;
}

std::shared_ptr<VideoDataOutput> WatchedCapture::makeVideoDataOutput() {
    return capture_.makeVideoDataOutput();
}

}  // namespace velmaro
