#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "platform/Callback.h"
#include "platform/Capture.h"
#include "platform/Dispatch.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Observable.h"

namespace velmaro {

/// Finds the cameras, asks for permission, sets up the one capture session and hands every frame to
/// `frameHandler`. Failures are told by `statusHandler` and the log; none is raised or retried.
///
/// Everything happens on the main thread, but for frames, which come on the serial queue
/// "VideoOutputQueue", the blocking start of the session, and status texts of the permission
/// request and of session notifications, which come on the platform's threads. The orders and the
/// texts, French ones among them, are fixed: see docs/behaviour.md.
class CameraManager : public Observable,
                      public SampleBufferDelegate,
                      public std::enable_shared_from_this<CameraManager> {
public:
    using Device = std::shared_ptr<CaptureDevice>;

    /// Discovers the cameras and listens for changes. The doors outlive the manager.
    static std::shared_ptr<CameraManager> create(Capture& capture,
                                                 NotificationCenter& notificationCenter,
                                                 Dispatch& dispatch, Log& log);

    /// Rebuilds `availableCameras`; the first becomes `selectedCamera` if none is selected.
    void discoverCameras();

    /// Asks for permission where needed, then sets the session up for `selectedCamera` and starts
    /// it. Called while running it starts anew.
    void startCapture();

    /// Stops the session, then removes `frameHandler`, then `statusHandler`.
    void stopCapture();

    void captureOutputDidOutput(const SampleBuffer& sampleBuffer) override;
    void captureOutputDidDrop() override;

    /// In the order in which they are to be offered.
    Published<std::vector<Device>> availableCameras{*this, {}};
    /// Stays what it is when its camera goes away; null until there is one.
    Published<Device> selectedCamera{*this, nullptr};

    const std::shared_ptr<CaptureSession> captureSession;
    /// The output added by the last successful set-up.
    std::shared_ptr<VideoDataOutput> videoOutput;
    const std::shared_ptr<DispatchQueue> videoOutputQueue;

    /// Called on `videoOutputQueue`.
    Callback<const SampleBuffer&> frameHandler;
    /// Called on the thread on which the text arises.
    Callback<const std::string&> statusHandler;

private:
    CameraManager(Capture& capture, NotificationCenter& notificationCenter, Dispatch& dispatch,
                  Log& log);

    void observeNotifications();
    void sessionRuntimeError(const Notification& notification);
    void sessionDidStartRunning();
    void devicesChanged();

    void requestAccess();
    void setupCaptureSession();
    void addInput(const std::shared_ptr<CaptureDeviceInput>& input);
    void addOutput();
    void startSession();
    void reportStart();
    void status(const std::string& text) const { statusHandler(text); }

    Capture& capture_;
    NotificationCenter& notificationCenter_;
    Dispatch& dispatch_;
    Log& log_;
};

}  // namespace velmaro
