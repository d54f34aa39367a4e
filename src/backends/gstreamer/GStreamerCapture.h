#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "backends/gstreamer/DeviceProvider.h"
#include "backends/gstreamer/FileCamera.h"
#include "backends/gstreamer/Library.h"
#include "platform/Capture.h"
#include "platform/PixelBuffer.h"
#include "platform/Telemetry.h"

namespace velmaro::gstreamer {

struct SessionServices;

struct CaptureOptions {
    /// Videos and pictures that play cameras.
    std::vector<FileCamera> files;
    Playback playback = Playback::looped;
    /// How each of the cameras hangs. A file is first turned by what it says about itself.
    CameraOrientation orientation;
    /// Whoever knows the cameras of this computer, which are listed after the files; may be null.
    std::unique_ptr<DeviceProvider> cameras;
    /// Called on the main queue after the last frame of a file that is played once was handled.
    std::function<void()> playbackEnded;
    /// How long a start may take after it has been said to be slow. PipeWire gives a camera half a
    /// minute, a loaded computer may need a while, and a library that hangs never ends.
    std::chrono::seconds longestStart{90};
};

/// Files and the cameras of this computer, played by GStreamer.
class GStreamerCapture : public Capture {
public:
    /// The doors and the counters outlive everything made here.
    GStreamerCapture(Dispatch& dispatch, NotificationCenter& notificationCenter,
                     Telemetry& telemetry, Diagnostics& diagnostics, CaptureOptions options);
    GStreamerCapture(const GStreamerCapture&) = delete;
    GStreamerCapture& operator=(const GStreamerCapture&) = delete;
    /// Closes what still runs and waits for it, but not for a device that hangs.
    ~GStreamerCapture() override;

    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> discover(
        std::span<const CaptureDeviceType> types) override;
    /// Denied if there are cameras and the user may open none; files need no permission.
    [[nodiscard]] AuthorizationStatus authorizationStatus() const override;
    void requestAccess(std::function<void(bool granted)> completion) override;

    std::shared_ptr<CaptureSession> makeSession() override;
    Result<std::shared_ptr<CaptureDeviceInput>> makeDeviceInput(
        const std::shared_ptr<CaptureDevice>& device) override;
    std::shared_ptr<VideoDataOutput> makeVideoDataOutput() override;

private:
    const LibraryMessages messages_;
    const std::shared_ptr<const SessionServices> services_;
    const std::vector<std::shared_ptr<CaptureDevice>> files_;
    const std::unique_ptr<DeviceProvider> cameras_;
};

}  // namespace velmaro::gstreamer
