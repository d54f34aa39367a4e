#include "app/linux/LinuxPlatform.h"

#include <chrono>
#include <csignal>
#include <memory>
#include <utility>
#include <variant>

#include "app/linux/MotionSources.h"
#include "app/linux/Resources.h"
#include "backends/cameras/LiveCameras.h"
#include "backends/control/ControlListener.h"
#include "backends/facemesh/FaceMesh.h"
#include "backends/gstreamer/GStreamerCapture.h"
#include "backends/log/StandardErrorDiagnostics.h"
#include "backends/log/StandardOutputLog.h"
#include "backends/motion/MotionChooser.h"
#include "backends/net/AsioNetwork.h"
#include "backends/portal/PortalCapture.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/SignalListener.h"
#include "backends/queues/SystemClock.h"
#include "backends/settings/SettingsStore.h"

namespace velmaro {
namespace {

/// Stands in where the models are missing, so that headphones still work.
class NoFaceLandmarks final : public FaceLandmarks {
public:
    bool perform(const std::shared_ptr<const PixelBuffer>&, const Completion&) override {
        return false;
    }
};

/// The system answers within 60 ms; only a daemon that hangs, or GStreamer's very first look at its
/// plug-ins, needs this long.
constexpr std::chrono::milliseconds kCameraPatience{3000};
constexpr std::chrono::milliseconds kLongCameraPatience{10000};

/// Null if those of this computer are not even looked for.
std::unique_ptr<gstreamer::DeviceProvider> makeCameras(LiveCameras liveCameras,
                                                       NotificationCenter& notificationCenter,
                                                       Diagnostics& diagnostics) {
    std::chrono::milliseconds patience{0};
    switch (liveCameras) {
        case LiveCameras::none:
            return nullptr;
        case LiveCameras::listedLater:
            break;
        case LiveCameras::awaited:
            patience = kCameraPatience;
            break;
        case LiveCameras::awaitedPatiently:
            patience = kLongCameraPatience;
            break;
    }
    return cameras::makeLiveCameras(notificationCenter, diagnostics, patience);
}

std::vector<gstreamer::FileCamera> fileCameras(const LinuxPlatformOptions& options) {
    std::vector<gstreamer::FileCamera> cameras;
    if (options.demo) {
        cameras.push_back({resource("demo/demo.webm"), "demo", "Demonstration"});
    }
    for (const std::string& file : options.cameraFiles) {
        cameras.push_back(gstreamer::FileCamera::fromPath(file));
    }
    return cameras;
}

/// Who names a file has allowed it by that.
bool needsPermission(const LinuxPlatformOptions& options) {
    return options.liveCameras != LiveCameras::none && !options.demo && options.cameraFiles.empty();
}

std::unique_ptr<Log> makeLog(bool logs, Diagnostics& diagnostics) {
    if (logs) {
        return std::make_unique<StandardOutputLog>(diagnostics);
    }
    return std::make_unique<SilentLog>();
}

Request requestOf(int signal) {
    switch (signal) {
        case SIGUSR1:
            return Request::setOffset;
        case SIGUSR2:
            return Request::resetOffset;
        default:
            return Request::stop;
    }
}

}  // namespace

/// In the order of construction; what comes later may use what comes earlier.
struct LinuxPlatform::Parts {
    Parts(const LinuxPlatformOptions& options, DispatchQueue& mainQueue, Telemetry& telemetry)
        : diagnostics(options.programName),
          log(makeLog(options.logs, diagnostics)),
          headphoneMotion(makeHeadphones(options)),
          dispatch(std::make_unique<AsioDispatch>(mainQueue)),
          network(&telemetry),
          receivers(network, diagnostics),
          capture(
              *dispatch, notificationCenter, telemetry, diagnostics,
              {.files = fileCameras(options),
               .playback = options.once ? gstreamer::Playback::once : gstreamer::Playback::looped,
               .cameras = makeCameras(options.liveCameras, notificationCenter, diagnostics),
               .playbackEnded = [this] { endPlayback(); }}),
          portal(needsPermission(options) ? std::make_unique<PortalCapture>(capture, diagnostics)
                                          : nullptr),
          faceLandmarks(makeFaceLandmarks(telemetry)),
          doors{*dispatch,
                notificationCenter,
                portal ? static_cast<Capture&>(*portal) : capture,
                *faceLandmarks,
                *headphoneMotion,
                receivers,
                userDefaults,
                clock,
                *log} {
        receivers.setOutput(options.output);
        if (options.controlPort) {
            listenForControl(options.controlAddress, *options.controlPort);
        }
    }

    std::unique_ptr<FaceLandmarks> makeFaceLandmarks(Telemetry& telemetry) {
        auto made = FaceMesh::create(resource("models"), &telemetry);
        if (!made) {
            faceLandmarksError = made.error();
            return std::make_unique<NoFaceLandmarks>();
        }
        return std::move(*made);
    }

    void listenForControl(const std::string& address, std::uint16_t port) {
        auto listener = ControlListener::listen(address, port);
        if (listener) {
            control = std::move(*listener);
        } else {
            controlError = listener.error();
        }
    }

    std::unique_ptr<HeadphoneMotion> makeHeadphones(const LinuxPlatformOptions& options) {
        auto made = makeHeadphoneMotion(options, diagnostics,
                                        {.playbackEnded = [this] { endPlayback(); },
                                         .recordingFailed = [this] { endRecording(); }});
        if (!made) {
            headphonesError = made.error();
            return std::make_unique<MotionChooser>(std::vector<std::unique_ptr<HeadphoneMotion>>());
        }
        return std::move(*made);
    }

    void endRecording() const {
        if (recordingFailed) {
            recordingFailed();
        }
    }

    void endPlayback() const {
        if (playbackEnded) {
            playbackEnded();
        }
    }

    std::function<void()> playbackEnded;
    std::function<void()> recordingFailed;
    std::optional<Error> faceLandmarksError;
    std::optional<Error> headphonesError;
    std::optional<Error> controlError;

    StandardErrorDiagnostics diagnostics;
    const std::unique_ptr<Log> log;
    SystemClock clock;
    NotificationCenter notificationCenter;
    SettingsStore userDefaults{diagnostics};
    const std::unique_ptr<HeadphoneMotion> headphoneMotion;
    std::unique_ptr<AsioDispatch> dispatch;
    AsioNetwork network;
    ReceiverNetwork receivers;
    gstreamer::GStreamerCapture capture;
    const std::unique_ptr<PortalCapture> portal;
    const std::unique_ptr<FaceLandmarks> faceLandmarks;
    Platform doors;
    std::unique_ptr<ControlListener> control;
    std::unique_ptr<SignalListener> signals;
};

LinuxPlatform::LinuxPlatform(const LinuxPlatformOptions& options, DispatchQueue& mainQueue,
                             Telemetry& telemetry)
    : parts_(std::make_unique<Parts>(options, mainQueue, telemetry)) {}

LinuxPlatform::~LinuxPlatform() = default;

const Platform& LinuxPlatform::doors() const {
    return parts_->doors;
}

const std::optional<Error>& LinuxPlatform::faceLandmarksError() const {
    return parts_->faceLandmarksError;
}

const std::optional<Error>& LinuxPlatform::controlError() const {
    return parts_->controlError;
}

const std::optional<Error>& LinuxPlatform::headphonesError() const {
    return parts_->headphonesError;
}

void LinuxPlatform::onPlaybackEnded(std::function<void()> handler) {
    parts_->playbackEnded = std::move(handler);
}

void LinuxPlatform::onRecordingFailed(std::function<void()> handler) {
    parts_->recordingFailed = std::move(handler);
}

void LinuxPlatform::shutDown() {
    parts_->signals.reset();
    parts_->control.reset();
    parts_->dispatch.reset();
}

void LinuxPlatform::onRequest(std::function<void(Request)> handler) {
    if (parts_->control) {
        parts_->control->start(
            parts_->doors.dispatch.mainQueue(), [handler](ControlRequest request) {
                handler(request == ControlRequest::setOffset ? Request::setOffset
                                                             : Request::resetOffset);
            });
    }
    parts_->signals = std::make_unique<SignalListener>(
        parts_->doors.dispatch.mainQueue(),
        std::initializer_list<int>{SIGINT, SIGTERM, SIGUSR1, SIGUSR2},
        [handler = std::move(handler)](int signal) { handler(requestOf(signal)); });
}

}  // namespace velmaro
