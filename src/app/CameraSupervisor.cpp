#include "app/CameraSupervisor.h"

#include <algorithm>
#include <any>
#include <chrono>
#include <string_view>
#include <utility>

namespace velmaro {
namespace {

constexpr std::string_view kCameraPrefix = "camera_";

/// A camera that was unplugged leaves the list within a second of its failure. One that stays and
/// cannot be opened has another user, say.
constexpr std::chrono::seconds kFirstWait{5};
constexpr std::chrono::seconds kLongestWait{30};

std::string reasonOf(const Notification& notification) {
    const auto entry = notification.userInfo.find(kCaptureSessionErrorKey);
    const auto* const error = entry == notification.userInfo.end()
                                  ? nullptr
                                  : std::any_cast<CaptureError>(&entry->second);
    return error != nullptr ? error->localizedDescription : "the camera has failed";
}

}  // namespace

std::shared_ptr<CameraSupervisor> CameraSupervisor::create(
    ContentView& view, const Platform& platform, Diagnostics& diagnostics,
    std::function<bool(const std::string& inputId)> isFile, std::function<void()> onGivenUp) {
    auto supervisor = std::make_shared<CameraSupervisor>(Private{}, view, platform, diagnostics,
                                                         std::move(isFile), std::move(onGivenUp));
    supervisor->observeNotifications(platform.notificationCenter);
    return supervisor;
}

CameraSupervisor::CameraSupervisor(Private /*key*/, ContentView& view, const Platform& platform,
                                   Diagnostics& diagnostics,
                                   std::function<bool(const std::string& inputId)> isFile,
                                   std::function<void()> onGivenUp)
    : view_(view),
      mainQueue_(platform.dispatch.mainQueue()),
      diagnostics_(diagnostics),
      isFile_(std::move(isFile)),
      onGivenUp_(std::move(onGivenUp)) {}

// Added after the camera manager's, so that what is posted here finds its list renewed.
void CameraSupervisor::observeNotifications(NotificationCenter& center) {
    const auto& session = view_.cameraManager->captureSession;
    center.addObserver(
        weak_from_this(), kCaptureSessionRuntimeError, session.get(),
        [this, weakSession = std::weak_ptr(session)](const Notification& notification) {
            // A session that goes on was only disturbed.
            if (const auto running = weakSession.lock(); running && !running->isRunning()) {
                post([reason = reasonOf(notification)](CameraSupervisor& self) {
                    self.sessionEnded(reason);
                });
            }
        });
    center.addObserver(weak_from_this(), kCaptureSessionDidStartRunning, session.get(),
                       [this](const Notification&) { post(&CameraSupervisor::sessionStarted); });
    center.addObserver(weak_from_this(), kCaptureSessionFirstFrame, session.get(),
                       [this](const Notification&) { post(&CameraSupervisor::firstFrame); });
    center.addObserver(weak_from_this(), kCaptureDeviceWasConnected, nullptr,
                       [this](const Notification&) { post(&CameraSupervisor::cameraConnected); });
}

void CameraSupervisor::post(std::function<void(CameraSupervisor&)> work) {
    mainQueue_.async([weakSelf = weak_from_this(), work = std::move(work)] {
        if (const auto self = weakSelf.lock()) {
            work(*self);
        }
    });
}

bool CameraSupervisor::isCameraWanted() const {
    return view_.isRunning.get() && view_.selectedInputId.get().starts_with(kCameraPrefix);
}

bool CameraSupervisor::isLost() const {
    return !lostId_.empty() && lostId_ == view_.selectedInputId.get();
}

bool CameraSupervisor::hasGivenPictures() const {
    return proven_.contains(view_.selectedInputId.get());
}

void CameraSupervisor::sessionStarted() {
    if (!isCameraWanted()) {
        view_.cameraManager->captureSession->stopRunning();
        return;
    }
    hasStarted_ = true;
    // Its end may have been told first, by another thread.
    if (view_.cameraManager->captureSession->isRunning()) {
        isTrying_ = true;
        connectionsAtStart_ = connections_;
    }
}

void CameraSupervisor::firstFrame() {
    const auto input = view_.selectedInput();
    if (!isCameraWanted() || !input) {
        return;
    }
    proven_.insert(input->id());
    if (isLost()) {
        lostId_.clear();
        diagnostics_.report({.subject = Diagnostic::Subject::camera,
                             .text = "the camera \"" + input->label() + "\" is back"});
    }
}

void CameraSupervisor::sessionEnded(const std::string& reason) {
    if (!isCameraWanted()) {
        return;
    }
    const auto input = view_.selectedInput();
    if (input && isFile_(input->id())) {
        giveUp("'" + input->label() + "' ended early: " + reason);
    } else if (hasStarted_) {
        lose(reason);
    } else {
        giveUp(reason);
    }
}

void CameraSupervisor::refused(const CaptureRefusal& refusal) {
    if (!isCameraWanted()) {
        return;
    }
    if (refusal.reason == CaptureRefusal::Reason::cannotOpen ? hasStarted_ : hasGivenPictures()) {
        lose(refusal.text);
    } else {
        giveUp(refusal.text);
    }
}

void CameraSupervisor::lose(const std::string& reason) {
    isTrying_ = false;
    if (!isLost()) {
        lostId_ = view_.selectedInputId.get();
        wait_ = kFirstWait;
        diagnostics_.report({.kind = Diagnostic::Kind::warning,
                             .subject = Diagnostic::Subject::camera,
                             .text = reason,
                             .advice = "tracking goes on when it is back"});
    }
    if (connections_ != connectionsAtStart_ && view_.selectedInput()) {
        startAnew();
    } else {
        tryAfterAWhile(reason);
    }
}

void CameraSupervisor::tryAfterAWhile(const std::string& reason) {
    mainQueue_.asyncAfter(wait_, [weakSelf = weak_from_this(), wait = ++waits_, reason] {
        const auto self = weakSelf.lock();
        if (!self || self->waits_ != wait || self->isTrying_ || !self->isLost() ||
            !self->isCameraWanted() || !self->view_.selectedInput()) {
            return;
        }
        if (self->hasGivenPictures()) {
            self->startAnew();
        } else {
            self->giveUp(reason);
        }
    });
    wait_ = std::min(2 * wait_, kLongestWait);
}

void CameraSupervisor::giveUp(const std::string& reason) {
    isTrying_ = false;
    lostId_ = view_.selectedInputId.get();
    diagnostics_.report({.kind = Diagnostic::Kind::failure,
                         .subject = Diagnostic::Subject::camera,
                         .text = reason});
    onGivenUp_();
}

void CameraSupervisor::cameraConnected() {
    ++connections_;
    wait_ = kFirstWait;
    if (isLost() && !isTrying_ && isCameraWanted() && view_.selectedInput()) {
        startAnew();
    }
}

void CameraSupervisor::startAnew() {
    isTrying_ = true;
    connectionsAtStart_ = connections_;
    view_.stopCurrentTracking();
    view_.startTracking();
}

}  // namespace velmaro
