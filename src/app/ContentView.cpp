#include "app/ContentView.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <utility>

#include "app/OrientationQuaternion.h"

namespace velmaro {
namespace {

const std::string kAirpodsId = "airpods";

constexpr std::int64_t kFramesPerStatus = 30;

}  // namespace

std::shared_ptr<ContentView> ContentView::create(const Platform& platform) {
    std::shared_ptr<ContentView> view(new ContentView(platform));
    view->observeHeadphones();
    return view;
}

ContentView::ContentView(const Platform& platform)
    : cameraManager(CameraManager::create(platform.capture, platform.notificationCenter,
                                          platform.dispatch, platform.log)),
      faceDetector(FaceDetector::create(platform.faceLandmarks, platform.dispatch,
                                        platform.wallClock, platform.log)),
      oscManager(platform.network, platform.dispatch, platform.wallClock, platform.log),
      headphoneManager(HeadphoneMotionManager::create(
          platform.headphoneMotion, platform.userDefaults, platform.dispatch, platform.log)),
      mainQueue_(platform.dispatch.mainQueue()) {}

// Input sources

std::vector<InputSource> ContentView::availableInputs() const {
    std::vector<InputSource> inputs;
    for (const auto& device : *cameraManager->availableCameras.snapshot()) {
        inputs.push_back(InputSource::camera(device));
    }
    if (headphoneManager->isConnected.get()) {
        inputs.push_back(InputSource::airpods());
    }
    return inputs;
}

std::optional<InputSource> ContentView::selectedInput() const {
    const std::vector<InputSource> inputs = availableInputs();
    const auto selected = std::find_if(
        inputs.begin(), inputs.end(),
        [id = selectedInputId.get()](const InputSource& input) { return input.id() == id; });
    return selected == inputs.end() ? std::nullopt : std::optional(*selected);
}

bool ContentView::airpodsSelected() const {
    const std::optional<InputSource> input = selectedInput();
    return input && input->isAirpods();
}

void ContentView::appear() {
    cameraManager->discoverCameras();
    const std::vector<InputSource> inputs = availableInputs();
    if (!inputs.empty()) {
        select(inputs.front().id());
    }
}

void ContentView::select(const std::string& inputId) {
    if (inputId == selectedInputId.get()) {
        return;
    }
    selectedInputId = inputId;
    selectionChanged();
}

void ContentView::selectionChanged() {
    if (isRunning.get()) {
        stopCurrentTracking();
        startTracking();
    }
}

void ContentView::observeHeadphones() {
    headphoneConnection_ = headphoneManager->isConnected.observe([this](bool connected) {
        if (!connected || !selectedInputId.get().empty()) {
            return;
        }
        selectedInputId = kAirpodsId;
        // What is started later finds the choice by itself.
        if (!isRunning.get()) {
            return;
        }
        // The connection is told before it is stored: a restart must wait until it is, or it would
        // not find the headphones.
        mainQueue_.async([weakSelf = weak_from_this()] {
            if (const auto self = weakSelf.lock()) {
                self->selectionChanged();
            }
        });
    });
}

// Start and stop

void ContentView::toggleTracking() {
    assert(mainQueue_.isCurrent());
    isRunning = !isRunning.get();
    if (isRunning.get()) {
        startTracking();
    } else {
        stopCurrentTracking();
        debugText = "Stopped";
    }
}

void ContentView::startTracking() {
    const std::optional<InputSource> input = selectedInput();
    if (!input) {
        debugText = "No input selected";
    } else if (input->isAirpods()) {
        startAirPodsTracking();
    } else {
        startCameraTracking(input->device());
    }
}

void ContentView::stopCurrentTracking() {
    assert(mainQueue_.isCurrent());
    cameraManager->stopCapture();
    headphoneManager->stop();
    oscManager.disconnect();
}

void ContentView::startCameraTracking(const std::shared_ptr<CaptureDevice>& device) {
    debugText = "Starting camera...";
    cameraManager->selectedCamera = device;
    const auto frameCount = std::make_shared<std::int64_t>(0);
    cameraManager->statusHandler = [weakSelf = weak_from_this()](const std::string& text) {
        if (const auto self = weakSelf.lock()) {
            self->postDebugText(text);
        }
    };
    cameraManager->frameHandler = [weakSelf = weak_from_this(),
                                   frameCount](const SampleBuffer& sampleBuffer) {
        if (const auto self = weakSelf.lock()) {
            self->handleFrame(sampleBuffer, *frameCount);
        }
    };
    cameraManager->startCapture();
}

void ContentView::startAirPodsTracking() {
    debugText = "Connecting AirPods...";
    headphoneManager->onConnectionChanged = [weakSelf = weak_from_this()](bool connected) {
        if (const auto self = weakSelf.lock()) {
            self->postDebugText(connected ? "AirPods connected" : "AirPods disconnected");
        }
    };
    headphoneManager->onMotionUpdate = [weakSelf = weak_from_this()](float pan, float tilt,
                                                                     float roll) {
        if (const auto self = weakSelf.lock()) {
            self->handleMotion(pan, tilt, roll);
        }
    };
    headphoneManager->start();
}

// From a delivery to the values sent

void ContentView::handleFrame(const SampleBuffer& sampleBuffer, std::int64_t& frameCount) {
    if (__builtin_add_overflow(frameCount, 1, &frameCount)) {
        std::abort();  // GCOVR_EXCL_LINE: after billions of years of frames.
    }
    if (frameCount == 1) {
        postDebugText("Detecting...");
    }
    faceDetector->processSampleBuffer(sampleBuffer);
    if (frameCount % kFramesPerStatus == 0) {
        postDebugText("Running");
    }

    const float pan = faceDetector->getAdjustedPan();
    const float tilt = tiltEnabled.get() ? -faceDetector->getAdjustedTilt() : 0.0F;
    // Pan changes its sign for angles but not for a quaternion. Receivers rely on both.
    if (quaternionOutput.get()) {
        sendOrientation(pan, tilt);
    } else {
        oscManager.sendOSC(-pan, tilt, 0);
    }
}

void ContentView::handleMotion(float pan, float tilt, float roll) {
    const float usedTilt = tiltEnabled.get() ? tilt : 0.0F;
    // Here it is the other way round: the quaternion is built from the reversed pan.
    if (quaternionOutput.get()) {
        sendOrientation(-pan, usedTilt);
    } else {
        oscManager.sendOSC(pan, usedTilt, roll);
    }
    postDebugText("Running (AirPods)");
}

void ContentView::sendOrientation(float pan, float tilt) {
    const OrientationQuaternion orientation = orientationQuaternion(pan, tilt);
    oscManager.sendQuaternion(orientation.w, orientation.x, orientation.y, orientation.z);
}

void ContentView::postDebugText(std::string text) {
    mainQueue_.async([weakSelf = weak_from_this(), text = std::move(text)] {
        if (const auto self = weakSelf.lock()) {
            self->debugText = text;
        }
    });
}

// What is shown, and the zero pose

float ContentView::currentPan() const {
    return airpodsSelected() ? -headphoneManager->pan.get() : faceDetector->getAdjustedPan();
}

float ContentView::currentTilt() const {
    if (!tiltEnabled.get()) {
        return 0;
    }
    return airpodsSelected() ? headphoneManager->tilt.get() : -faceDetector->getAdjustedTilt();
}

void ContentView::setOffset() {
    assert(mainQueue_.isCurrent());
    if (airpodsSelected()) {
        headphoneManager->setOffset();
    } else {
        faceDetector->setOffset();
    }
}

void ContentView::resetOffset() {
    assert(mainQueue_.isCurrent());
    if (airpodsSelected()) {
        headphoneManager->resetOffset();
    } else {
        faceDetector->offsetPan = 0.0F;
        faceDetector->offsetTilt = 0.0F;
    }
}

}  // namespace velmaro
