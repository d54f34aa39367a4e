#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/InputSource.h"
#include "camera/CameraManager.h"
#include "headphones/HeadphoneMotionManager.h"
#include "headpose/FaceDetector.h"
#include "osc/OSCManager.h"
#include "platform/Observable.h"
#include "platform/Platform.h"

namespace velmaro {

/// The tracking controller and the state that the window shows: owns the four services, starts and
/// stops the chosen source, and turns each frame or motion sample into the values that are sent.
///
/// Everything happens on the main thread, but for frames, which come on the camera's delivery
/// queue. All angles are single-precision degrees. Signs, orders and texts are fixed, and so is the
/// name: see docs/behaviour.md.
class ContentView : public Observable, public std::enable_shared_from_this<ContentView> {
public:
    /// The platform's doors outlive the view.
    static std::shared_ptr<ContentView> create(const Platform& platform);

    const std::shared_ptr<CameraManager> cameraManager;
    const std::shared_ptr<FaceDetector> faceDetector;
    OSCManager oscManager;
    const std::shared_ptr<HeadphoneMotionManager> headphoneManager;

    /// Whether the user has switched tracking on; true even when there was nothing to start.
    Published<bool> isRunning{*this, false};
    /// The chosen source's `id`; empty means nothing chosen yet. Changed by `select`.
    Published<std::string> selectedInputId{*this, ""};
    /// One line for the user.
    Published<std::string> debugText{*this, "Stopped"};
    /// Send a quaternion instead of angles; takes effect from the next delivery.
    Published<bool> quaternionOutput{*this, false};
    /// Use tilt at all; takes effect from the next delivery.
    Published<bool> tiltEnabled{*this, true};

    /// What can be chosen now: the cameras in their order, then the headphones while connected.
    [[nodiscard]] std::vector<InputSource> availableInputs() const;
    /// The first available source whose `id` equals the chosen one.
    [[nodiscard]] std::optional<InputSource> selectedInput() const;

    /// Discovers the cameras and chooses the first source, whatever was chosen before.
    void appear();
    /// Chooses a source; while running, a change stops tracking and starts it anew.
    void select(const std::string& inputId);

    void toggleTracking();
    void startTracking();
    /// Stops both paths and the sender's connection, whichever was running.
    void stopCurrentTracking();

    /// To show, which is not what is sent: the signs differ by source.
    [[nodiscard]] float currentPan() const;
    [[nodiscard]] float currentTilt() const;

    /// Makes the current pose the zero pose.
    void setOffset();
    /// Undoes the zero pose of a camera; restores the stored one of the headphones.
    void resetOffset();

private:
    explicit ContentView(const Platform& platform);

    void observeHeadphones();
    void selectionChanged();
    void startCameraTracking(const std::shared_ptr<CaptureDevice>& device);
    void startAirPodsTracking();
    void handleFrame(const SampleBuffer& sampleBuffer, std::int64_t& frameCount);
    void handleMotion(float pan, float tilt, float roll);
    void sendOrientation(float pan, float tilt);
    void postDebugText(std::string text);
    [[nodiscard]] bool airpodsSelected() const;

    DispatchQueue& mainQueue_;
    Subscription headphoneConnection_;
};

}  // namespace velmaro
