#include "app/Run.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "app/InputChoice.h"
#include "app/KeptSettings.h"
#include "app/OutputOptions.h"
#include "app/Startup.h"

namespace velmaro {
namespace {

using Kind = Diagnostic::Kind;
using Subject = Diagnostic::Subject;

bool isFile(const Options& options, const std::string& inputId) {
    return (options.demo && inputId == "camera_demo") || inputId.starts_with("camera_file:");
}

/// The doors with others to cameras and to the network.
Platform through(const Platform& doors, Capture& capture, Network& network) {
    return {doors.dispatch,      doors.notificationCenter, capture,
            doors.faceLandmarks, doors.headphoneMotion,    network,
            doors.userDefaults,  doors.wallClock,          doors.log};
}

}  // namespace

Run::Run(Options options, MainLoop& mainLoop, std::unique_ptr<Diagnostics> diagnostics,
         const SystemFactory& makeSystem)
    : options_(std::move(options)),
      mainLoop_(mainLoop),
      diagnostics_(std::move(diagnostics), mainLoop.queue()),
      makeSystem_(makeSystem) {
    if (options_.statistics) {
        statistics_ = std::make_shared<StatisticsReport>(telemetry_, mainLoop_.queue());
    }
}

// What the global queues still run may post to the main queue, and what that holds refers to the
// doors: so the queues end first, then the work, then the doors.
Run::~Run() {
    tracking_.reset();
    headphones_.reset();
    camera_.reset();
    view_.reset();
    if (system_) {
        system_->shutDown();
    }
    mainLoop_.close();
}

// Assembling and choosing

std::optional<ExitStatus> Run::prepare() {
    auto made = makeSystem_(options_, mainLoop_.queue(), telemetry_, diagnostics_);
    if (!made) {
        fail(Subject::program, made.error().description);
        return ExitStatus::couldNotRun;
    }
    system_ = std::move(*made);
    if (options_.configurationError) {
        report(Kind::warning, Subject::settings, *options_.configurationError,
               "mend it; until then the defaults hold");
    }
    if (options_.forgetsPose && !forgetPose() && isInTerminal()) {
        return ExitStatus::couldNotRun;
    }
    assemble();
    if (options_.listInputs) {
        return listInputs();
    }
    if (!InputChoice(options_, *view_, *system_, diagnostics_).make() ||
        (options_.save && !keepSettings(options_) && isInTerminal())) {
        return ExitStatus::couldNotRun;
    }
    return std::nullopt;
}

void Run::assemble() {
    const Platform& doors = system_->doors();
    capture_ =
        std::make_unique<WatchedCapture>(doors.capture, [this](const CaptureRefusal& refusal) {
            mainLoop_.queue().async([this, refusal] {
                if (camera_) {
                    camera_->refused(refusal);
                }
            });
        });
    receivers_ = std::make_unique<ReceiverNetwork>(doors.network, diagnostics_);
    receivers_->setOutput(options_.output);
    Network* network = receivers_.get();
    // Only a window shows what becomes of the datagrams.
    if (!isInTerminal()) {
        receiver_ = std::make_unique<ReceiverMonitor>(*receivers_);
        network = receiver_.get();
    }
    const Platform platform = through(doors, *capture_, *network);
    view_ = ContentView::create(platform);
    camera_ = CameraSupervisor::create(
        *view_, platform, diagnostics_,
        [this](const std::string& inputId) { return isFile(options_, inputId); },
        [this] {
            if (isInTerminal()) {
                end(ExitStatus::couldNotRun);
            }
        });
    tracking_ =
        view_->isRunning.observe([this](bool isRunning) { system_->setTracking(isRunning); });
    applySettings(options_, *view_);
    view_->appear();
}

ExitStatus Run::listInputs() {
    if (!printInputs(*view_)) {
        fail(Subject::program, "the list could not be written");
        return ExitStatus::couldNotRun;
    }
    if (view_->availableInputs().empty()) {
        reportNoSource(diagnostics_, Kind::hint);
    }
    return ExitStatus::success;
}

// Tracking

ExitStatus Run::execute() {
    watch();
    if (isInTerminal() || options_.start) {
        start();
    }
    mainLoop_.run();
    return exitStatus_;
}

void Run::watch() {
    system_->onRequest([this](Request request) { handle(request); });
    system_->onPlaybackEnded([this] { playbackEnded(); });
    system_->onRecordingFailed([this] {
        if (isInTerminal()) {
            end(ExitStatus::couldNotRun);
        }
    });
    if (options_.duration) {
        mainLoop_.queue().asyncAfter(std::chrono::duration<double>(*options_.duration),
                                     [this] { endByItself(); });
    }
    if (statistics_) {
        statistics_->start(system_->errorLines());
    }
}

void Run::start() {
    const bool isHeadphones = view_->selectedInputId.get() == InputSource::airpods().id();
    if (isHeadphones && !view_->selectedInput()) {
        report(Kind::hint, Subject::headphones, "waiting for the headphones");
        startWhenHeadphonesConnect();
    } else {
        startTracking();
    }
}

void Run::startWhenHeadphonesConnect() {
    headphones_ = view_->headphoneManager->isConnected.observe([this](bool connected) {
        if (!connected) {
            return;
        }
        // Observers are told before the change, and tracking needs it.
        mainLoop_.queue().async([this] {
            headphones_.reset();
            if (!isEnding_ && !view_->isRunning.get() && view_->selectedInput()) {
                startTracking();
            }
        });
    });
}

void Run::startTracking() {
    if (isInTerminal()) {
        reportDestination();
    }
    view_->toggleTracking();
}

void Run::reportDestination() {
    report(Kind::hint, Subject::receiver,
           "'" + view_->selectedInput()->label() + "' to " + options_.ipAddress + " port " +
               options_.port + " as " + options_.oscMessage + " (" + describeValues(options_) +
               "), at most " + std::to_string(options_.frameRate) + " a second");
    for (const Destination& each : options_.output.further) {
        report(Kind::hint, Subject::receiver,
               "the same to " + each.host + " port " + std::to_string(each.port) + " as " +
                   (each.address.empty() ? options_.oscMessage : each.address));
    }
    if (!options_.oscMessage.starts_with('/')) {
        report(Kind::hint, Subject::receiver,
               "most receivers ignore an OSC address that does not begin with /");
    }
}

bool Run::keepSettings(const Options& options) {
    return velmaro::keepSettings(options, *system_, diagnostics_);
}

bool Run::forgetPose() {
    return velmaro::forgetPose(system_->doors().userDefaults, diagnostics_, view_ != nullptr);
}

// Requests and the end

void Run::handle(Request request) {
    switch (request) {
        case Request::stop:
            if (onStopRequest) {
                onStopRequest();
            } else if (!isEnding_) {
                // Who asked for the end has it, so that this is no failure.
                (void)reportIfNothingWasSent();
                end(ExitStatus::success);
            }
            break;
        case Request::setOffset:
            view_->setOffset();
            break;
        case Request::resetOffset:
            view_->resetOffset();
            break;
    }
}

void Run::playbackEnded() {
    if (isInTerminal()) {
        endByItself();
    } else if (view_->isRunning.get()) {
        view_->toggleTracking();
    }
}

void Run::endByItself() {
    const bool wasUseful = reportIfNothingWasSent() && !camera_->isLost();
    end(wasUseful ? ExitStatus::success : ExitStatus::couldNotRun);
}

bool Run::reportIfNothingWasSent() {
    if (telemetry_.datagramsOut.load() > 0) {
        return true;
    }
    const bool cameData =
        telemetry_.framesIn.load() > 0 || view_->headphoneManager->calibration.data;
    std::string advice = "no message reached the network";
    if (!view_->isRunning.get()) {
        advice = "the headphones have not come";
    } else if (!cameData) {
        advice = "the source gave no data";
    }
    fail(Subject::program, "nothing was sent", advice);
    return false;
}

void Run::end(ExitStatus status) {
    exitStatus_ = std::max(exitStatus_, status);
    if (std::exchange(isEnding_, true)) {
        return;
    }
    headphones_.reset();
    // Later, since it may be an observer that found the reason to stop.
    mainLoop_.queue().async([this] {
        if (view_->isRunning.get()) {
            view_->toggleTracking();
        }
        // By way of the queue on which the sender's connection says goodbye, so that it can.
        system_->doors().dispatch.globalQueue(QualityOfService::standard).async([this] {
            mainLoop_.queue().async([this] { mainLoop_.stop(); });
        });
    });
}

void Run::report(Kind kind, Subject subject, const std::string& text, const std::string& advice) {
    diagnostics_.report({.kind = kind, .subject = subject, .text = text, .advice = advice});
}

void Run::fail(Subject subject, const std::string& text, const std::string& advice) {
    report(Kind::failure, subject, text, advice);
}

}  // namespace velmaro
