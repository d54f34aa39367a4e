#include "app/window/WindowSession.h"

#include <QCoreApplication>
#include <iostream>
#include <utility>

#include "app/Startup.h"
#include "app/linux/Files.h"
#include "app/linux/PlatformOptions.h"
#include "app/window/Button.h"

namespace velmaro {
namespace {

void say(const std::string& text) {
    std::cerr << programName(Program::window) + (": " + text + "\n");
}

}  // namespace

WindowSession::WindowSession(Options options) : options_(std::move(options)) {}

// What the global queues still run may post to the main queue, and what that holds refers to the
// doors: so the queues end first, then the work, then the doors.
WindowSession::~WindowSession() {
    window_.reset();
    view_.reset();
    if (platform_) {
        platform_->shutDown();
    }
    mainQueue_.close();
}

ExitStatus WindowSession::run() {
    if (!assemble()) {
        return ExitStatus::couldNotRun;
    }
    if (options_.listInputs) {
        return listInputs();
    }
    show();
    QCoreApplication::exec();
    return ExitStatus::success;
}

bool WindowSession::assemble() {
    if (const auto reason = unreadable(options_.cameraFiles)) {
        say(*reason);
        return false;
    }
    platform_ = std::make_unique<LinuxPlatform>(platformOptions(Program::window, options_),
                                                mainQueue_, telemetry_);
    if (const auto& error = platform_->headphonesError()) {
        say(error->description);
        return false;
    }
    if (const auto& error = platform_->controlError()) {
        say(error->description);
        return false;
    }
    view_ = ContentView::create(platform_->doors());
    applySettings(options_, *view_);
    view_->appear();
    if (options_.listInputs) {
        return true;
    }
    if (options_.input) {
        view_->select(*options_.input);
        if (!view_->selectedInput()) {
            say("there is no source '" + *options_.input + "': see --list-inputs");
            return false;
        }
    }
    const std::optional<InputSource> input = view_->selectedInput();
    if (const auto& error = platform_->faceLandmarksError();
        error && input && !input->isAirpods()) {
        say(error->description);
        return false;
    }
    return true;
}

ExitStatus WindowSession::listInputs() {
    if (!printInputs(*view_)) {
        say("no source is there: connect a camera or headphones, or try --demo");
    }
    return ExitStatus::success;
}

void WindowSession::show() {
    auto* const panel = new ControlPanel(view_);
    window_ = std::make_unique<Window>(panel);
    window_->onClose = [this] { quit(); };
    platform_->onRequest([this](Request request) { handle(request); });
    platform_->onPlaybackEnded([this] {
        if (view_->isRunning.get()) {
            view_->toggleTracking();
        }
    });
    panel->startButton->setFocus();
    window_->show();
    if (options_.start) {
        view_->toggleTracking();
    }
}

void WindowSession::handle(Request request) {
    switch (request) {
        case Request::stop:
            window_->close();
            break;
        case Request::setOffset:
            view_->setOffset();
            break;
        case Request::resetOffset:
            view_->resetOffset();
            break;
    }
}

void WindowSession::quit() {
    if (view_->isRunning.get()) {
        view_->toggleTracking();
    }
    // By way of the queue on which the sender's connection says goodbye, so that it can.
    platform_->doors().dispatch.globalQueue(QualityOfService::standard).async([] {
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                                  Qt::QueuedConnection);
    });
}

}  // namespace velmaro
