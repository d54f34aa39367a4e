#include "app/linux/LinuxPlatform.h"

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "app/QuietLog.h"
#include "app/linux/CameraSources.h"
#include "app/linux/Files.h"
#include "app/linux/MotionSources.h"
#include "app/linux/Process.h"
#include "app/linux/Resources.h"
#include "app/linux/WantedSources.h"
#include "backends/control/ControlListener.h"
#include "backends/facemesh/FaceMesh.h"
#include "backends/gstreamer/GStreamerCapture.h"
#include "backends/log/StandardErrorDiagnostics.h"
#include "backends/log/StandardOutputLog.h"
#include "backends/motion/MotionChooser.h"
#include "backends/net/AsioNetwork.h"
#include "backends/portal/Desktop.h"
#include "backends/portal/PortalCapture.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/PostsAfterWork.h"
#include "backends/queues/SignalListener.h"
#include "backends/queues/SystemClock.h"
#include "backends/settings/SettingsStore.h"
#include "backends/settings/WholeFile.h"

namespace velmaro {
namespace {

/// Stands in where the models are missing, so that headphones still work.
class NoFaceLandmarks final : public FaceLandmarks {
public:
    bool perform(const std::shared_ptr<const PixelBuffer>&, const Completion&) override {
        return false;
    }
};

/// Standard output stays free for an answer that scripts read.
std::unique_ptr<Log> makeLog(const Options& options, Diagnostics& diagnostics) {
    if (options.listInputs) {
        return std::make_unique<SilentLog>();
    }
    auto log = std::make_unique<StandardOutputLog>(diagnostics);
    if (options.quiet) {
        return std::make_unique<QuietLog>(std::move(log));
    }
    return log;
}

std::unique_ptr<HeadphoneMotion> noHeadphones() {
    return std::make_unique<MotionChooser>(std::vector<std::unique_ptr<HeadphoneMotion>>());
}

void call(const std::function<void()>& handler) {
    if (handler) {
        handler();
    }
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

/// The members are in the order of construction; what comes later may use what comes earlier.
class LinuxPlatform final : public System {
public:
    LinuxPlatform(const Options& options, const WantedSources& wanted, DispatchQueue& mainQueue,
                  Telemetry& telemetry, Diagnostics& diagnostics);

    [[nodiscard]] const Platform& doors() const override { return doors_; }
    [[nodiscard]] const std::optional<Error>& faceLandmarksError() const override {
        return faceLandmarksError_;
    }
    /// Why something that was asked for cannot be had, if it cannot.
    [[nodiscard]] const std::optional<Error>& error() const { return error_; }

    [[nodiscard]] Log& errorLines() override { return errorLines_; }

    void onPlaybackEnded(std::function<void()> handler) override {
        playbackEnded_ = std::move(handler);
    }
    void onRecordingFailed(std::function<void()> handler) override {
        recordingFailed_ = std::move(handler);
    }
    void onRequest(std::function<void(Request)> handler) override;
    Result<void> replaceFile(const std::filesystem::path& file, std::string_view text) override;
    void setTracking(bool isTracking) override {
        if (desktop_) {
            desktop_->setTracking(isTracking);
        }
    }
    void shutDown() override;

private:
    std::unique_ptr<FaceLandmarks> makeFaceLandmarks(Telemetry& telemetry);
    std::unique_ptr<Desktop> makeDesktop(const std::function<void(Request)>& handler);
    void listenForControl(const std::string& address, std::uint16_t port);
    std::unique_ptr<HeadphoneMotion> makeHeadphones(const Options& options,
                                                    Diagnostics& diagnostics);

    std::function<void()> playbackEnded_;
    std::function<void()> recordingFailed_;
    std::optional<Error> faceLandmarksError_;
    std::optional<Error> error_;

    const std::unique_ptr<Log> log_;
    StandardErrorLog errorLines_;
    SystemClock clock_;
    NotificationCenter notificationCenter_;
    SettingsStore userDefaults_;
    const std::unique_ptr<HeadphoneMotion> headphoneMotion_;
    MainQueueAfterWork mainQueue_;
    std::unique_ptr<AsioDispatch> dispatch_;
    AsioNetwork network_;
    gstreamer::GStreamerCapture capture_;
    const std::unique_ptr<PortalCapture> portal_;
    const std::unique_ptr<FaceLandmarks> faceLandmarks_;
    const Platform doors_;
    std::unique_ptr<ControlListener> control_;
    std::unique_ptr<SignalListener> signals_;
    const bool allowsIdle_;
    const bool hasWindow_;
    std::unique_ptr<Desktop> desktop_;
};

LinuxPlatform::LinuxPlatform(const Options& options, const WantedSources& wanted,
                             DispatchQueue& mainQueue, Telemetry& telemetry,
                             Diagnostics& diagnostics)
    : log_(makeLog(options, diagnostics)),
      errorLines_(diagnostics),
      userDefaults_(diagnostics),
      headphoneMotion_(wanted.headphones ? makeHeadphones(options, diagnostics) : noHeadphones()),
      mainQueue_(mainQueue),
      dispatch_(std::make_unique<AsioDispatch>(mainQueue_)),
      network_(&telemetry),
      capture_(*dispatch_, notificationCenter_, telemetry, diagnostics,
               {.files = fileCameras(options),
                .playback = options.once ? gstreamer::Playback::once : gstreamer::Playback::looped,
                .orientation = options.cameraOrientation,
                .cameras = makeLiveCameras(wanted.cameraSearch, notificationCenter_, diagnostics),
                .playbackEnded = [this] { call(playbackEnded_); }}),
      portal_(needsPermission(options, wanted)
                  ? std::make_unique<PortalCapture>(capture_, diagnostics)
                  : nullptr),
      faceLandmarks_(wanted.faces ? makeFaceLandmarks(telemetry)
                                  : std::make_unique<NoFaceLandmarks>()),
      doors_{*dispatch_,
             notificationCenter_,
             portal_ ? static_cast<Capture&>(*portal_) : capture_,
             *faceLandmarks_,
             *headphoneMotion_,
             network_,
             userDefaults_,
             clock_,
             *log_},
      allowsIdle_(options.allowsIdle),
      hasWindow_(options.program == Program::window) {
    // A listing can be asked for beside a running program.
    if (options.controlPort && !options.listInputs) {
        listenForControl(options.controlAddress, *options.controlPort);
    }
}

void LinuxPlatform::listenForControl(const std::string& address, std::uint16_t port) {
    auto listener = ControlListener::listen(address, port);
    if (listener) {
        control_ = std::move(*listener);
    } else {
        error_ = listener.error();
    }
}

std::unique_ptr<FaceLandmarks> LinuxPlatform::makeFaceLandmarks(Telemetry& telemetry) {
    auto made = FaceMesh::create(resource("models"), &telemetry);
    if (!made) {
        faceLandmarksError_ = made.error();
        return std::make_unique<NoFaceLandmarks>();
    }
    return std::move(*made);
}

std::unique_ptr<HeadphoneMotion> LinuxPlatform::makeHeadphones(const Options& options,
                                                               Diagnostics& diagnostics) {
    auto made = makeHeadphoneMotion(options, diagnostics,
                                    {.playbackEnded = [this] { call(playbackEnded_); },
                                     .recordingFailed = [this] { call(recordingFailed_); }});
    if (!made) {
        error_ = made.error();
        return noHeadphones();
    }
    return std::move(*made);
}

void LinuxPlatform::onRequest(std::function<void(Request)> handler) {
    desktop_ = makeDesktop(handler);
    if (control_) {
        control_->start(doors_.dispatch.mainQueue(), [handler](ControlRequest request) {
            handler(request == ControlRequest::setOffset ? Request::setOffset
                                                         : Request::resetOffset);
        });
    }
    signals_ = std::make_unique<SignalListener>(
        doors_.dispatch.mainQueue(), std::initializer_list<int>{SIGINT, SIGTERM, SIGUSR1, SIGUSR2},
        [handler = std::move(handler)](int signal) { handler(requestOf(signal)); });
}

Result<void> LinuxPlatform::replaceFile(const std::filesystem::path& file, std::string_view text) {
    std::error_code ignored;
    const std::filesystem::path folder = file.parent_path();
    if (!folder.empty() && !std::filesystem::exists(folder, ignored)) {
        if (auto made = makeFolder(folder); !made) {
            return made;
        }
    }
    return velmaro::replaceFile(file, text);
}

std::unique_ptr<Desktop> LinuxPlatform::makeDesktop(const std::function<void(Request)>& handler) {
    const auto onShortcut = [&queue = doors_.dispatch.mainQueue(), handler](ShortcutAction action) {
        queue.async([handler, action] {
            handler(action == ShortcutAction::setOffset ? Request::setOffset
                                                        : Request::resetOffset);
        });
    };
    return std::make_unique<Desktop>(Desktop::Settings{
        .allowsIdle = allowsIdle_,
        // A terminal has its signals.
        .onShortcut = hasWindow_ ? std::function<void(ShortcutAction)>(onShortcut) : nullptr});
}

void LinuxPlatform::shutDown() {
    signals_.reset();
    control_.reset();
    dispatch_.reset();
}

}  // namespace

Result<std::unique_ptr<System>> makeLinuxPlatform(const Options& options, DispatchQueue& mainQueue,
                                                  Telemetry& telemetry, Diagnostics& diagnostics) {
    if (const auto reason = unreadable(options.cameraFiles)) {
        return failure(*reason);
    }
    if (const auto threads = requireThreads(); !threads) {
        return tl::unexpected(threads.error());
    }
    try {
        auto platform = std::make_unique<LinuxPlatform>(options, wantedSources(options), mainQueue,
                                                        telemetry, diagnostics);
        if (const auto& error = platform->error()) {
            return tl::unexpected(*error);
        }
        return platform;
    } catch (const std::system_error& error) {
        return failure(std::string("the system gives the program too little: ") + error.what());
    }
}

std::filesystem::path configurationFile() {
    const std::filesystem::path folder = SettingsStore::defaultFolder();
    return folder.empty() ? folder : folder / "velmaro.toml";
}

std::unique_ptr<Diagnostics> makeDiagnostics(Program program) {
    return std::make_unique<StandardErrorDiagnostics>(programName(program));
}

}  // namespace velmaro
