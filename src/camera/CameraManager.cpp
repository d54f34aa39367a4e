#include "camera/CameraManager.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <chrono>
#include <span>
#include <string>
#include <utility>

namespace velmaro {
namespace {

std::string text(bool value) {
    return value ? "true" : "false";
}

bool lists(const std::vector<CameraManager::Device>& devices, const std::string& uniqueID) {
    return std::any_of(devices.begin(), devices.end(),
                       [&](const auto& device) { return device->uniqueID() == uniqueID; });
}

}  // namespace

std::shared_ptr<CameraManager> CameraManager::create(Capture& capture,
                                                     NotificationCenter& notificationCenter,
                                                     Dispatch& dispatch, Log& log) {
    std::shared_ptr<CameraManager> manager(
        new CameraManager(capture, notificationCenter, dispatch, log));
    manager->discoverCameras();
    manager->observeNotifications();
    return manager;
}

CameraManager::CameraManager(Capture& capture, NotificationCenter& notificationCenter,
                             Dispatch& dispatch, Log& log)
    : captureSession(capture.makeSession()),
      videoOutputQueue(
          dispatch.makeSerialQueue("VideoOutputQueue", QualityOfService::userInitiated)),
      capture_(capture),
      notificationCenter_(notificationCenter),
      dispatch_(dispatch),
      log_(log) {}

// Discovery

void CameraManager::discoverCameras() {
    assert(dispatch_.mainQueue().isCurrent());
    constexpr std::array localTypes{CaptureDeviceType::builtInWideAngleCamera,
                                    CaptureDeviceType::external};
    constexpr std::array continuityTypes{CaptureDeviceType::continuityCamera};
    constexpr std::array externalTypes{CaptureDeviceType::external};

    std::vector<Device> devices = capture_.discover(localTypes);
    // External cameras are asked for twice on purpose.
    for (const std::span<const CaptureDeviceType> types :
         {std::span<const CaptureDeviceType>(continuityTypes),
          std::span<const CaptureDeviceType>(externalTypes)}) {
        for (const Device& device : capture_.discover(types)) {
            if (!lists(devices, device->uniqueID())) {
                devices.push_back(device);
            }
        }
    }

    log_.line("📷 Found " + std::to_string(devices.size()) + " cameras:");
    for (const Device& device : devices) {
        log_.line("  - " + device->localizedName() + " (" + device->uniqueID() + ")");
    }
    const Device first = devices.empty() ? nullptr : devices.front();
    availableCameras = std::move(devices);
    if (!selectedCamera.get() && first) {
        selectedCamera = first;
    }
}

// Notifications

void CameraManager::observeNotifications() {
    const std::weak_ptr<CameraManager> self = weak_from_this();
    const void* const session = captureSession.get();
    // The notification centre calls a handler only while the manager lives.
    notificationCenter_.addObserver(
        self, kCaptureSessionRuntimeError, session,
        [this](const Notification& notification) { sessionRuntimeError(notification); });
    notificationCenter_.addObserver(self, kCaptureSessionDidStartRunning, session,
                                    [this](const Notification&) { sessionDidStartRunning(); });
    notificationCenter_.addObserver(self, kCaptureDeviceWasConnected, nullptr,
                                    [this](const Notification&) { devicesChanged(); });
    notificationCenter_.addObserver(self, kCaptureDeviceWasDisconnected, nullptr,
                                    [this](const Notification&) { devicesChanged(); });
}

void CameraManager::sessionRuntimeError(const Notification& notification) {
    const auto entry = notification.userInfo.find(kCaptureSessionErrorKey);
    if (entry == notification.userInfo.end()) {
        return;
    }
    if (const auto* error = std::any_cast<CaptureError>(&entry->second)) {
        log_.line("❌ Capture session runtime error: " + error->description);
    }
}

void CameraManager::sessionDidStartRunning() {
    log_.line("✅ Session started running notification received");
    status("Session démarrée");
}

void CameraManager::devicesChanged() {
    dispatch_.mainQueue().async([self = shared_from_this()] { self->discoverCameras(); });
}

// Permission

void CameraManager::startCapture() {
    assert(dispatch_.mainQueue().isCurrent());
    switch (capture_.authorizationStatus()) {
        case AuthorizationStatus::restricted:
        case AuthorizationStatus::denied:
            log_.line("❌ Camera access denied or restricted");
            status("Camera access denied - check System Preferences");
            break;
        case AuthorizationStatus::notDetermined:
            requestAccess();
            break;
        case AuthorizationStatus::authorized:
            setupCaptureSession();
            break;
    }
}

void CameraManager::requestAccess() {
    capture_.requestAccess([weakSelf = weak_from_this(), &mainQueue = dispatch_.mainQueue(),
                            &log = log_](bool granted) {
        if (granted) {
            mainQueue.async([weakSelf] {
                if (const auto self = weakSelf.lock()) {
                    self->setupCaptureSession();
                }
            });
            return;
        }
        log.line("❌ Camera access denied");
        if (const auto self = weakSelf.lock()) {
            self->status("Camera access denied");
        }
    });
}

// Set-up

void CameraManager::setupCaptureSession() {
    const Device camera = selectedCamera.get();
    if (!camera) {
        log_.line("❌ No camera selected");
        return;
    }
    log_.line("📹 Setting up capture with: " + camera->localizedName());
    if (captureSession->isRunning()) {
        captureSession->stopRunning();
    }

    captureSession->beginConfiguration();
    for (const auto& input : captureSession->inputs()) {
        captureSession->removeInput(input);
    }
    for (const auto& output : captureSession->outputs()) {
        captureSession->removeOutput(output);
    }

    const auto input = capture_.makeDeviceInput(camera);
    if (!input) {
        log_.line("❌ Error creating camera input: " + input.error().description);
        status("❌ Erreur: " + input.error().localizedDescription);
        captureSession->commitConfiguration();
        return;
    }
    addInput(*input);
    addOutput();
    captureSession->commitConfiguration();
    startSession();
}

// A refused input does not end the set-up: the output is still configured, the session started.
void CameraManager::addInput(const std::shared_ptr<CaptureDeviceInput>& input) {
    if (captureSession->canAddInput(input)) {
        captureSession->addInput(input);
        log_.line("✅ Camera input added");
        status("Input caméra ajouté");
    } else {
        log_.line("❌ Cannot add camera input");
        status("❌ Impossible d'ajouter la caméra");
    }
}

void CameraManager::addOutput() {
    const std::shared_ptr<VideoDataOutput> output = capture_.makeVideoDataOutput();
    output->setVideoSettings({{kPixelFormatTypeKey, kPixelFormat32BGRA}});
    output->setAlwaysDiscardsLateVideoFrames(true);
    if (!captureSession->canAddOutput(output)) {
        log_.line("❌ Cannot add video output");
        status("❌ Impossible d'ajouter output");
        return;
    }
    captureSession->addOutput(output);
    videoOutput = output;
    log_.line("✅ Video output added");
    status("Output vidéo ajouté");
    output->setSampleBufferDelegate(weak_from_this(), videoOutputQueue);
    log_.line("✅ Delegate set on output");

    if (const auto connection = output->connection()) {
        connection->setEnabled(true);
        log_.line("✅ Video connection exists, isEnabled: " + text(connection->isEnabled()) +
                  ", isActive: " + text(connection->isActive()));
        status("Connexion vidéo OK");
    } else {
        log_.line("❌ No video connection");
        status("❌ Pas de connexion vidéo");
    }
}

void CameraManager::startSession() {
    auto& queue = dispatch_.globalQueue(QualityOfService::userInitiated);
    queue.async([weakSelf = weak_from_this()] {
        const auto self = weakSelf.lock();
        if (!self) {
            return;
        }
        self->log_.line("🚀 Starting capture session...");
        self->captureSession->startRunning();
        self->dispatch_.mainQueue().asyncAfter(std::chrono::milliseconds(500),
                                               [self] { self->reportStart(); });
    });
}

void CameraManager::reportStart() {
    log_.line("✅ Capture session started, isRunning: " + text(captureSession->isRunning()));
    status("isRunning: " + text(captureSession->isRunning()));
    const auto connection = videoOutput ? videoOutput->connection() : nullptr;
    if (connection) {
        log_.line("📊 Connection active: " + text(connection->isActive()) +
                  ", enabled: " + text(connection->isEnabled()));
    }
}

// Frames

void CameraManager::captureOutputDidOutput(const SampleBuffer& sampleBuffer) {
    frameHandler(sampleBuffer);
}

void CameraManager::captureOutputDidDrop() {
    log_.line("⚠️ Dropped frame");
}

void CameraManager::stopCapture() {
    captureSession->stopRunning();
    frameHandler = nullptr;
    statusHandler = nullptr;
}

}  // namespace velmaro
