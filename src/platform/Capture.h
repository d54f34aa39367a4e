#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/Dispatch.h"
#include "platform/Error.h"
#include "platform/NotificationCenter.h"
#include "platform/PixelBuffer.h"
#include "platform/Result.h"

namespace velmaro {

/// One video camera, or a file that plays one. Two handles mean the same device only if they are
/// the same object.
class CaptureDevice {
public:
    virtual ~CaptureDevice() = default;

    /// Lasting name: the same after the device was unplugged and plugged in again.
    [[nodiscard]] virtual const std::string& uniqueID() const = 0;
    /// Name for people.
    [[nodiscard]] virtual const std::string& localizedName() const = 0;
};

enum class CaptureDeviceType { builtInWideAngleCamera, external, continuityCamera };

enum class AuthorizationStatus { notDetermined, restricted, denied, authorized };

/// The way from one device into a session. A platform's own kind derives from it.
class CaptureDeviceInput {
public:
    virtual ~CaptureDeviceInput() = default;
};

/// The way of frames through a session to one output.
class CaptureConnection {
public:
    virtual ~CaptureConnection() = default;
    [[nodiscard]] virtual bool isEnabled() const = 0;
    virtual void setEnabled(bool enabled) = 0;
    /// True when frames can flow: both ends are there and the session is set up.
    [[nodiscard]] virtual bool isActive() const = 0;
};

class VideoDataOutput;

/// Receives frames on the queue given beside it, one at a time and in capture order.
class SampleBufferDelegate {
public:
    virtual ~SampleBufferDelegate() = default;
    virtual void captureOutputDidOutput(const SampleBuffer& sampleBuffer) = 0;
    /// One frame was discarded because a newer one came before it could be delivered.
    virtual void captureOutputDidDrop() = 0;
};

/// The four-character code of 32-bit BGRA pixels.
inline constexpr std::uint32_t kPixelFormat32BGRA = 0x42475241;
/// The one key of the video settings.
inline constexpr const char* kPixelFormatTypeKey = "PixelFormatType";
using VideoSettings = std::vector<std::pair<std::string, std::uint32_t>>;

/// Frames of a session as pixel buffers. Set up on the main thread before the session runs.
class VideoDataOutput {
public:
    virtual ~VideoDataOutput() = default;
    virtual void setVideoSettings(const VideoSettings& settings) = 0;
    virtual void setAlwaysDiscardsLateVideoFrames(bool discards) = 0;
    /// The delegate is held weakly.
    virtual void setSampleBufferDelegate(std::weak_ptr<SampleBufferDelegate> delegate,
                                         std::shared_ptr<DispatchQueue> queue) = 0;
    /// The connection for video; null unless the session could join an input to this output.
    [[nodiscard]] virtual std::shared_ptr<CaptureConnection> connection() const = 0;
};

/// Joins inputs to outputs and runs them. Except where noted it is used on the main thread.
class CaptureSession {
public:
    virtual ~CaptureSession() = default;

    /// Any thread.
    [[nodiscard]] virtual bool isRunning() const = 0;
    /// Blocks until frames can flow, the start failed or the session was stopped; how it ended is
    /// told by `isRunning()` and the notifications. Off the main thread.
    virtual void startRunning() = 0;
    /// After the return no delegate call is under way and none begins. Waits for a frame that is
    /// being handled, never for a start.
    virtual void stopRunning() = 0;

    /// Changes between the two take effect together at the commit.
    virtual void beginConfiguration() = 0;
    virtual void commitConfiguration() = 0;

    [[nodiscard]] virtual std::vector<std::shared_ptr<CaptureDeviceInput>> inputs() const = 0;
    [[nodiscard]] virtual std::vector<std::shared_ptr<VideoDataOutput>> outputs() const = 0;
    virtual void removeInput(const std::shared_ptr<CaptureDeviceInput>& input) = 0;
    virtual void removeOutput(const std::shared_ptr<VideoDataOutput>& output) = 0;
    [[nodiscard]] virtual bool canAddInput(
        const std::shared_ptr<CaptureDeviceInput>& input) const = 0;
    virtual void addInput(const std::shared_ptr<CaptureDeviceInput>& input) = 0;
    [[nodiscard]] virtual bool canAddOutput(
        const std::shared_ptr<VideoDataOutput>& output) const = 0;
    virtual void addOutput(const std::shared_ptr<VideoDataOutput>& output) = 0;
};

/// Posted by a session, its address (as `const CaptureSession*`) being the object, on any thread.
inline constexpr const char* kCaptureSessionRuntimeError = "CaptureSessionRuntimeError";
/// In the user information of a runtime error, with a `CaptureError`.
inline constexpr const char* kCaptureSessionErrorKey = "CaptureSessionError";
inline constexpr const char* kCaptureSessionDidStartRunning = "CaptureSessionDidStartRunning";
/// After each start, before its first frame is delivered: some cameras start and then fail.
inline constexpr const char* kCaptureSessionFirstFrame = "CaptureSessionFirstFrame";
/// Posted on any thread when the discovery's answer has changed.
inline constexpr const char* kCaptureDeviceWasConnected = "CaptureDeviceWasConnected";
inline constexpr const char* kCaptureDeviceWasDisconnected = "CaptureDeviceWasDisconnected";

/// What ended or disturbed a running session.
struct CaptureError : Error {};

/// The door to cameras. Used on the main thread.
class Capture {
public:
    virtual ~Capture() = default;

    /// The devices of these types, in the platform's order. The same device is the same object each
    /// time for as long as it stays connected.
    [[nodiscard]] virtual std::vector<std::shared_ptr<CaptureDevice>> discover(
        std::span<const CaptureDeviceType> types) = 0;

    [[nodiscard]] virtual AuthorizationStatus authorizationStatus() const = 0;
    /// Asks the user; `completion` is called once on any thread.
    virtual void requestAccess(std::function<void(bool granted)> completion) = 0;

    virtual std::shared_ptr<CaptureSession> makeSession() = 0;
    /// The input, or why there is none.
    virtual Result<std::shared_ptr<CaptureDeviceInput>> makeDeviceInput(
        const std::shared_ptr<CaptureDevice>& device) = 0;
    virtual std::shared_ptr<VideoDataOutput> makeVideoDataOutput() = 0;
};

}  // namespace velmaro
