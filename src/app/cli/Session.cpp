#include "app/cli/Session.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <string_view>
#include <utility>

#include "app/OutputOptions.h"
#include "app/Startup.h"
#include "app/linux/Files.h"
#include "app/linux/MotionSources.h"
#include "app/linux/PlatformOptions.h"

namespace velmaro {
namespace {

void say(const std::string& text) {
    std::cerr << programName(Program::terminal) + (": " + text + "\n");
}

/// The status texts after which no frame will ever come.
bool endsTracking(std::string_view status) {
    return status.starts_with("❌ Erreur: ") || status.starts_with("Camera access denied");
}

}  // namespace

Session::Session(Options options) : options_(std::move(options)), mainLoop_(MainLoop::create()) {
    if (options_.statistics) {
        statistics_ = std::make_shared<StatisticsReport>(telemetry_, mainLoop_->queue());
    }
}

Session::~Session() {
    headphones_.reset();
    status_.reset();
    view_.reset();
    if (platform_) {
        platform_->shutDown();
    }
    mainLoop_->close();
}

ExitStatus Session::run() {
    if (const auto reason = unreadable(options_.cameraFiles)) {
        say(*reason);
        return ExitStatus::couldNotRun;
    }
    platform_ = std::make_unique<LinuxPlatform>(platformOptions(Program::terminal, options_),
                                                mainLoop_->queue(), telemetry_);
    if (const auto& error = platform_->headphonesError()) {
        say(error->description);
        return ExitStatus::couldNotRun;
    }
    if (const auto& error = platform_->controlError()) {
        say(error->description);
        return ExitStatus::couldNotRun;
    }
    view_ = ContentView::create(platform_->doors());
    view_->appear();
    if (options_.listInputs) {
        return listInputs();
    }
    applySettings(options_, *view_);
    if (awaitsHeadphones()) {
        watch();
        say("waiting for the headphones");
        startWhenHeadphonesConnect();
    } else {
        if (!chooseInput()) {
            return ExitStatus::couldNotRun;
        }
        watch();
        startTracking();
    }
    mainLoop_->run();
    return exitStatus_;
}

ExitStatus Session::listInputs() {
    if (!printInputs(*view_)) {
        say("no source is there: connect a camera or headphones, or try --demo");
    }
    return ExitStatus::success;
}

bool Session::awaitsHeadphones() {
    const auto isAwaited = [this](const SourceOption& option) {
        return option.isAwaited && options_.sourceValues.contains(option.name);
    };
    if (std::ranges::none_of(motionSourceOptions(), isAwaited)) {
        return false;
    }
    const std::string headphones = InputSource::airpods().id();
    if (options_.input && *options_.input != headphones) {
        return false;
    }
    if (options_.input) {
        view_->select(headphones);
    }
    return !view_->selectedInput();
}

void Session::startWhenHeadphonesConnect() {
    view_->select(InputSource::airpods().id());
    headphones_ = view_->headphoneManager->isConnected.observe([this](bool connected) {
        // Observers are told before the change, and tracking needs it.
        if (connected) {
            mainLoop_->queue().async([this] {
                headphones_.reset();
                if (!hasStarted_ && view_->selectedInput()) {
                    startTracking();
                }
            });
        }
    });
}

void Session::startTracking() {
    hasStarted_ = true;
    sayWhatIsSent();
    view_->toggleTracking();
}

bool Session::chooseInput() {
    if (options_.input) {
        view_->select(*options_.input);
    }
    const std::optional<InputSource> input = view_->selectedInput();
    if (!input && options_.input) {
        say("there is no source '" + *options_.input + "': see --list-inputs");
        return false;
    }
    if (!input) {
        say("no source is there: connect a camera or headphones, or try --demo");
        return false;
    }
    if (!input->isAirpods() && platform_->faceLandmarksError()) {
        say(platform_->faceLandmarksError()->description);
        return false;
    }
    return true;
}

void Session::sayWhatIsSent() const {
    say("'" + view_->selectedInput()->label() + "' to " + options_.ipAddress + " port " +
        options_.port + " as " + options_.oscMessage + " (" + describeValues(options_) +
        "), at most " + std::to_string(options_.frameRate) + " a second");
    for (const Destination& each : options_.output.further) {
        say("the same to " + each.host + " port " + std::to_string(each.port) + " as " +
            (each.address.empty() ? options_.oscMessage : each.address));
    }
    if (!options_.oscMessage.starts_with('/')) {
        say("most receivers ignore an OSC address that does not begin with /");
    }
}

void Session::watch() {
    platform_->onRequest([this](Request request) { handle(request); });
    platform_->onPlaybackEnded([this] { stop(ExitStatus::success); });
    platform_->onRecordingFailed([this] { stop(ExitStatus::couldNotRun); });
    if (options_.duration) {
        mainLoop_->queue().asyncAfter(std::chrono::duration<double>(*options_.duration),
                                      [this] { stop(ExitStatus::success); });
    }
    status_ = view_->debugText.observe([this](const std::string& text) {
        if (endsTracking(text)) {
            say(text);
            stop(ExitStatus::couldNotRun);
        }
    });
    if (statistics_) {
        statistics_->start();
    }
}

void Session::handle(Request request) {
    switch (request) {
        case Request::stop:
            stop(ExitStatus::success);
            break;
        case Request::setOffset:
            view_->setOffset();
            break;
        case Request::resetOffset:
            view_->resetOffset();
            break;
    }
}

void Session::stop(ExitStatus status) {
    exitStatus_ = std::max(exitStatus_, status);
    // Later, since it may be an observer that found the reason to stop.
    mainLoop_->queue().async([this] {
        if (hasStarted_ && !view_->isRunning.get()) {
            return;
        }
        if (hasStarted_) {
            view_->toggleTracking();
        }
        hasStarted_ = true;
        // By way of the queue on which the sender's connection says goodbye, so that it can.
        platform_->doors().dispatch.globalQueue(QualityOfService::standard).async([this] {
            mainLoop_->stop();
        });
    });
}

}  // namespace velmaro
