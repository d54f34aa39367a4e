#include <functional>
#include <memory>
#include <string_view>

#include "camera/CameraManagerFixture.h"
#include "fakes/FaceLandmarks.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CameraSessionTest : public CameraManagerTest {
protected:
    void SetUp() override {
        capture.setLocal({desk, wall});
        makeManager();
    }
};

// Permission

TEST_F(CameraSessionTest, DeniedOrRestrictedStops) {
    for (const auto denied : {AuthorizationStatus::denied, AuthorizationStatus::restricted}) {
        capture.status = denied;
        manager->startCapture();
        EXPECT_THAT(log.take(), ElementsAre("❌ Camera access denied or restricted"));
        EXPECT_THAT(std::exchange(statuses, {}),
                    ElementsAre("Camera access denied - check System Preferences"));
        EXPECT_THAT(capture.trace, IsEmpty());
        EXPECT_FALSE(capture.pendingRequest) << "asked again after a refusal";
    }
}

TEST_F(CameraSessionTest, AnyOtherPermissionDoesNothing) {
    capture.status = static_cast<AuthorizationStatus>(99);
    manager->startCapture();
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_THAT(statuses, IsEmpty());
    EXPECT_THAT(capture.trace, IsEmpty());
}

TEST_F(CameraSessionTest, GrantedOnRequestSetsUpOnTheMainThread) {
    capture.status = AuthorizationStatus::notDetermined;
    manager->startCapture();
    EXPECT_THAT(log.lines, IsEmpty());
    capture.pendingRequest(true);
    EXPECT_THAT(capture.trace, IsEmpty());
    dispatch.main.run();
    EXPECT_EQ(log.lines.front(), "📹 Setting up capture with: Desk Camera");
}

TEST_F(CameraSessionTest, RefusedOnRequestTellsFromTheCompletion) {
    capture.status = AuthorizationStatus::notDetermined;
    manager->startCapture();
    capture.pendingRequest(false);
    EXPECT_THAT(log.lines, ElementsAre("❌ Camera access denied"));
    EXPECT_THAT(statuses, ElementsAre("Camera access denied"));
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(CameraSessionTest, TheRequestHoldsTheManagerWeakly) {
    capture.status = AuthorizationStatus::notDetermined;
    manager->startCapture();
    manager.reset();
    capture.pendingRequest(true);
    dispatch.main.run();
    EXPECT_THAT(capture.trace, IsEmpty());
    capture.pendingRequest(false);
    EXPECT_THAT(log.lines, ElementsAre("❌ Camera access denied"));
    EXPECT_THAT(statuses, IsEmpty());
}

// Set-up

TEST_F(CameraSessionTest, SetsUpAndStartsInOrder) {
    manager->startCapture();
    EXPECT_THAT(log.take(),
                ElementsAre("📹 Setting up capture with: Desk Camera", "✅ Camera input added",
                            "✅ Video output added", "✅ Delegate set on output",
                            "✅ Video connection exists, isEnabled: true, isActive: true"));
    EXPECT_THAT(std::exchange(statuses, {}),
                ElementsAre("Input caméra ajouté", "Output vidéo ajouté", "Connexion vidéo OK"));
    EXPECT_THAT(std::exchange(capture.trace, {}),
                ElementsAre("beginConfiguration", "makeDeviceInput desk", "addInput", "addOutput",
                            "commitConfiguration"));

    EXPECT_EQ(dispatch.userInitiated.run(), 1);
    EXPECT_THAT(capture.trace, ElementsAre("startRunning"));
    EXPECT_THAT(log.take(), ElementsAre("🚀 Starting capture session..."));
    EXPECT_THAT(statuses, IsEmpty());

    dispatch.main.advance(0.49);
    EXPECT_THAT(log.lines, IsEmpty());
    dispatch.main.advance(0.02);
    EXPECT_THAT(log.take(), ElementsAre("✅ Capture session started, isRunning: true",
                                        "📊 Connection active: true, enabled: true"));
    EXPECT_THAT(statuses, ElementsAre("isRunning: true"));
}

TEST_F(CameraSessionTest, CallsLinesAndStatusesAreOneStory) {
    log.trace = &capture.trace;
    dispatch.main.trace = dispatch.userInitiated.trace = &capture.trace;
    manager->statusHandler = [this](const std::string& text) {
        capture.trace.push_back("status: " + text);
    };
    manager->startCapture();
    EXPECT_THAT(
        std::exchange(capture.trace, {}),
        ElementsAre("📹 Setting up capture with: Desk Camera", "beginConfiguration",
                    "makeDeviceInput desk", "addInput", "✅ Camera input added",
                    "status: Input caméra ajouté", "addOutput", "✅ Video output added",
                    "status: Output vidéo ajouté", "✅ Delegate set on output",
                    "✅ Video connection exists, isEnabled: true, isActive: true",
                    "status: Connexion vidéo OK", "commitConfiguration", "post to user-initiated"));
    dispatch.userInitiated.run();
    EXPECT_THAT(std::exchange(capture.trace, {}),
                ElementsAre("🚀 Starting capture session...", "startRunning"));
    dispatch.main.advance(0.5);
    EXPECT_THAT(std::exchange(capture.trace, {}),
                ElementsAre("✅ Capture session started, isRunning: true", "status: isRunning: true",
                            "📊 Connection active: true, enabled: true"));
    // Once more, with everything refused.
    capture.session->running = false;
    capture.session->acceptsInput = false;
    capture.session->acceptsOutput = false;
    manager->startCapture();
    EXPECT_THAT(std::exchange(capture.trace, {}),
                ElementsAre("📹 Setting up capture with: Desk Camera", "beginConfiguration",
                            "removeInput", "removeOutput", "makeDeviceInput desk",
                            "❌ Cannot add camera input", "status: ❌ Impossible d'ajouter la caméra",
                            "❌ Cannot add video output", "status: ❌ Impossible d'ajouter output",
                            "commitConfiguration", "post to user-initiated"));
    capture.inputError = Error{"no", "non"};
    manager->startCapture();
    EXPECT_THAT(std::exchange(capture.trace, {}),
                ElementsAre("📹 Setting up capture with: Desk Camera", "beginConfiguration",
                            "makeDeviceInput desk", "❌ Error creating camera input: no",
                            "status: ❌ Erreur: non", "commitConfiguration"));
}

TEST_F(CameraSessionTest, RefusalsAreLoggedBeforeTheyAreTold) {
    log.trace = &capture.trace;
    manager->statusHandler = [this](const std::string& text) {
        capture.trace.push_back("status: " + text);
    };
    capture.status = AuthorizationStatus::denied;
    manager->startCapture();
    capture.status = AuthorizationStatus::notDetermined;
    manager->startCapture();
    capture.pendingRequest(false);
    capture.status = AuthorizationStatus::authorized;
    capture.makesConnection = false;
    manager->startCapture();
    center.post({kCaptureSessionDidStartRunning,
                 static_cast<const CaptureSession*>(capture.session.get()),
                 {}});
    std::vector<std::string> told;
    for (const std::string& entry : capture.trace) {
        if (entry.find("denied") != std::string::npos ||
            entry.find("onnection") != std::string::npos ||
            entry.find("Pas de") != std::string::npos ||
            entry.find("started") != std::string::npos ||
            entry.find("démarrée") != std::string::npos) {
            told.push_back(entry);
        }
    }
    EXPECT_THAT(told, ElementsAre("❌ Camera access denied or restricted",
                                  "status: Camera access denied - check System Preferences",
                                  "❌ Camera access denied", "status: Camera access denied",
                                  "❌ No video connection", "status: ❌ Pas de connexion vidéo",
                                  "✅ Session started running notification received",
                                  "status: Session démarrée"));
}

TEST_F(CameraSessionTest, TheOutputIsSetUpBeforeItIsAddedAndKeptBeforeItIsTold) {
    bool kept = false;
    manager->statusHandler = [&](const std::string& text) {
        if (text == "Output vidéo ajouté") {
            kept = manager->videoOutput == capture.madeOutputs.back();
            EXPECT_TRUE(capture.madeOutputs.back()->discards);
            EXPECT_EQ(capture.madeOutputs.back()->settings.size(), 1U);
            EXPECT_EQ(capture.madeOutputs.back()->queue, nullptr);
            EXPECT_FALSE(capture.madeOutputs.back()->videoConnection->enabled);
        }
    };
    manager->startCapture();
    EXPECT_TRUE(kept);
}

TEST_F(CameraSessionTest, TheOutputIsAddedThenKeptThenGivenItsDelegate) {
    struct WatchedSession : fakes::ScriptedSession {
        using ScriptedSession::ScriptedSession;
        void addOutput(const std::shared_ptr<VideoDataOutput>& output) override {
            onAdd();
            ScriptedSession::addOutput(output);
        }
        std::function<void()> onAdd;
    };
    struct WatchedLog : Log {
        void line(std::string_view text) override {
            if (onLine) {
                onLine(text);
            }
        }
        std::function<void(std::string_view)> onLine;
    } watchedLog;
    const auto session = std::make_shared<WatchedSession>(capture.trace);
    capture.session = session;
    manager = CameraManager::create(capture, center, dispatch, watchedLog);
    std::vector<std::string> steps;
    const auto note = [&](const std::string& step) {
        const bool hasDelegate = capture.madeOutputs.back()->queue != nullptr;
        steps.push_back(step + (manager->videoOutput ? ", kept" : "") +
                        (hasDelegate ? ", with a delegate" : ""));
    };
    session->onAdd = [&] { note("adding"); };
    watchedLog.onLine = [&](std::string_view text) {
        if (text == "✅ Video output added" || text == "✅ Delegate set on output") {
            note("line");
        }
    };
    manager->startCapture();
    EXPECT_THAT(steps, ElementsAre("adding", "line, kept", "line, kept, with a delegate"));
}

TEST_F(CameraSessionTest, TheHandlerOfFramesGoesBeforeThatOfStatuses) {
    std::string order;
    const auto whenReleased = [&order](const char* name) {
        return std::shared_ptr<void>(nullptr, [&order, name](void*) { order += name; });
    };
    manager->statusHandler = [held = whenReleased("status ")](const std::string&) {};
    manager->frameHandler = [held = whenReleased("frame ")](const SampleBuffer&) {};
    manager->stopCapture();
    EXPECT_EQ(order, "frame status ");
}

TEST_F(CameraSessionTest, AStartIsReportedHalfASecondAfterItsEndHoweverLongItTook) {
    capture.session->onStart = [&] { dispatch.main.advance(2); };
    manager->startCapture();
    log.take();
    dispatch.userInitiated.run();
    EXPECT_THAT(log.take(), ElementsAre("🚀 Starting capture session..."));
    dispatch.main.advance(0.4999);
    EXPECT_THAT(log.lines, IsEmpty());
    dispatch.main.advance(0.0002);
    EXPECT_THAT(log.lines, ElementsAre("✅ Capture session started, isRunning: true",
                                       "📊 Connection active: true, enabled: true"));
}

TEST_F(CameraSessionTest, TheSessionStopsBeforeTheHandlersGo) {
    manager->frameHandler = [](const SampleBuffer&) {};
    bool stopped = false;
    capture.session->onStop = [&] {
        stopped = true;
        EXPECT_TRUE(manager->frameHandler);
        EXPECT_TRUE(manager->statusHandler);
    };
    manager->stopCapture();
    EXPECT_TRUE(stopped);
}

TEST_F(CameraSessionTest, AStartTellsOfItsConnectionAsItIsThen) {
    manager->startCapture();
    dispatch.userInitiated.run();
    log.take();
    manager->videoOutput = nullptr;
    dispatch.main.advance(0.5);
    EXPECT_THAT(log.lines, ElementsAre("✅ Capture session started, isRunning: true"));
}

TEST_F(CameraSessionTest, ConfiguresTheOutput) {
    manager->startCapture();
    ASSERT_EQ(capture.madeOutputs.size(), 1U);
    const auto& output = *capture.madeOutputs[0];
    EXPECT_THAT(output.settings,
                ElementsAre(testing::Pair(std::string("PixelFormatType"), 0x42475241U)));
    EXPECT_TRUE(output.discards);
    EXPECT_EQ(output.delegate.lock(), manager);
    EXPECT_EQ(output.queue, manager->videoOutputQueue);
    EXPECT_TRUE(output.videoConnection->enabled);
    EXPECT_EQ(manager->videoOutput, capture.madeOutputs[0]);
}

TEST_F(CameraSessionTest, WithNoCameraSelectedItOnlyLogs) {
    manager->selectedCamera = nullptr;
    manager->startCapture();
    EXPECT_THAT(log.lines, ElementsAre("❌ No camera selected"));
    EXPECT_THAT(statuses, IsEmpty());
    EXPECT_THAT(capture.trace, IsEmpty());
}

TEST_F(CameraSessionTest, WithNoCameraSelectedThePermissionComesFirst) {
    manager->selectedCamera = nullptr;
    capture.status = AuthorizationStatus::denied;
    manager->startCapture();
    EXPECT_THAT(log.lines, ElementsAre("❌ Camera access denied or restricted"));
}

TEST_F(CameraSessionTest, AFailingInputEndsTheSetUp) {
    capture.inputError = Error{"cannot open desk", "Desk is busy"};
    manager->startCapture();
    EXPECT_THAT(log.lines, ElementsAre("📹 Setting up capture with: Desk Camera",
                                       "❌ Error creating camera input: cannot open desk"));
    EXPECT_THAT(statuses, ElementsAre("❌ Erreur: Desk is busy"));
    EXPECT_THAT(capture.trace,
                ElementsAre("beginConfiguration", "makeDeviceInput desk", "commitConfiguration"));
    EXPECT_EQ(dispatch.userInitiated.pending(), 0U);
    EXPECT_EQ(manager->videoOutput, nullptr);
}

TEST_F(CameraSessionTest, ARefusedInputGoesOnRegardless) {
    capture.session->acceptsInput = false;
    manager->startCapture();
    EXPECT_THAT(log.lines,
                ElementsAre("📹 Setting up capture with: Desk Camera", "❌ Cannot add camera input",
                            "✅ Video output added", "✅ Delegate set on output",
                            "✅ Video connection exists, isEnabled: true, isActive: true"));
    EXPECT_THAT(statuses, ElementsAre("❌ Impossible d'ajouter la caméra", "Output vidéo ajouté",
                                      "Connexion vidéo OK"));
    EXPECT_EQ(dispatch.userInitiated.run(), 1);
    EXPECT_EQ(capture.trace.back(), "startRunning");
}

TEST_F(CameraSessionTest, ARefusedOutputKeepsTheEarlierOneAndStillStarts) {
    manager->startCapture();
    const auto earlier = manager->videoOutput;
    log.take();
    statuses.clear();
    capture.session->acceptsOutput = false;
    manager->startCapture();
    EXPECT_THAT(log.lines, ElementsAre("📹 Setting up capture with: Desk Camera",
                                       "✅ Camera input added", "❌ Cannot add video output"));
    EXPECT_THAT(statuses, ElementsAre("Input caméra ajouté", "❌ Impossible d'ajouter output"));
    EXPECT_EQ(manager->videoOutput, earlier);
    EXPECT_EQ(dispatch.userInitiated.pending(), 2U);
}

TEST_F(CameraSessionTest, AMissingConnectionIsTold) {
    capture.makesConnection = false;
    manager->startCapture();
    EXPECT_EQ(log.take().back(), "❌ No video connection");
    EXPECT_EQ(statuses.back(), "❌ Pas de connexion vidéo");
    dispatch.userInitiated.run();
    log.take();
    dispatch.main.advance(0.5);
    EXPECT_THAT(log.lines, ElementsAre("✅ Capture session started, isRunning: true"));
}

TEST_F(CameraSessionTest, AnInactiveConnectionAndAFailedStartAreToldAsTheyAre) {
    capture.session->starts = false;
    manager->startCapture();
    capture.madeOutputs[0]->videoConnection->active = false;
    dispatch.userInitiated.run();
    log.take();
    dispatch.main.advance(0.5);
    EXPECT_THAT(log.lines, ElementsAre("✅ Capture session started, isRunning: false",
                                       "📊 Connection active: false, enabled: true"));
    EXPECT_EQ(statuses.back(), "isRunning: false");
}

TEST_F(CameraSessionTest, StartingAgainStopsFirstAndStartsFromAnEmptySession) {
    manager->startCapture();
    dispatch.userInitiated.run();
    capture.trace.clear();
    manager->selectedCamera = wall;
    manager->startCapture();
    dispatch.userInitiated.run();
    EXPECT_THAT(capture.trace, ElementsAre("stopRunning", "beginConfiguration", "removeInput",
                                           "removeOutput", "makeDeviceInput wall", "addInput",
                                           "addOutput", "commitConfiguration", "startRunning"));
}

TEST_F(CameraSessionTest, TheQueuedStartHoldsTheManagerWeakly) {
    manager->startCapture();
    log.take();
    capture.trace.clear();
    manager.reset();
    dispatch.userInitiated.run();
    EXPECT_THAT(capture.trace, IsEmpty());
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CameraSessionTest, TheDelayedReportHoldsTheManagerStrongly) {
    manager->startCapture();
    dispatch.userInitiated.run();
    const std::weak_ptr<CameraManager> weak = manager;
    manager.reset();
    log.take();
    EXPECT_FALSE(weak.expired());
    dispatch.main.advance(0.5);
    EXPECT_EQ(log.lines.size(), 2U);
    EXPECT_TRUE(weak.expired());
}

TEST_F(CameraSessionTest, StopCaptureStopsAndRemovesBothHandlersSilently) {
    manager->frameHandler = [](const SampleBuffer&) {};
    manager->startCapture();
    dispatch.userInitiated.run();
    log.take();
    capture.trace.clear();
    manager->stopCapture();
    EXPECT_THAT(capture.trace, ElementsAre("stopRunning"));
    EXPECT_FALSE(manager->frameHandler);
    EXPECT_FALSE(manager->statusHandler);
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_EQ(capture.session->sessionInputs.size(), 1U);
    EXPECT_EQ(manager->selectedCamera.get(), desk);
    EXPECT_EQ(manager->availableCameras.get().size(), 2U);
}

TEST_F(CameraSessionTest, ItsEndDoesNotStopTheSession) {
    manager->startCapture();
    dispatch.userInitiated.run();
    dispatch.main.advance(1);
    capture.trace.clear();
    manager.reset();
    EXPECT_THAT(capture.trace, IsEmpty());
    EXPECT_TRUE(capture.session->running);
}

// Notifications

TEST_F(CameraSessionTest, ARuntimeErrorIsLoggedAndNothingElse) {
    const void* const session = static_cast<const CaptureSession*>(capture.session.get());
    center.post({kCaptureSessionRuntimeError,
                 session,
                 {{kCaptureSessionErrorKey, CaptureError{{"the camera went away", "gone"}}}}});
    EXPECT_THAT(log.take(), ElementsAre("❌ Capture session runtime error: the camera went away"));
    EXPECT_THAT(statuses, IsEmpty());
    EXPECT_THAT(capture.trace, IsEmpty());
}

TEST_F(CameraSessionTest, ARuntimeErrorOfAnotherKindOrSessionIsIgnored) {
    const void* const session = static_cast<const CaptureSession*>(capture.session.get());
    center.post({kCaptureSessionRuntimeError, session, {}});
    center.post({kCaptureSessionRuntimeError,
                 session,
                 {{kCaptureSessionErrorKey, std::string("not a capture error")}}});
    center.post({kCaptureSessionRuntimeError,
                 &center,
                 {{kCaptureSessionErrorKey, CaptureError{{"elsewhere", "elsewhere"}}}}});
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CameraSessionTest, TheStartNotificationIsToldOnItsOwnThread) {
    const void* const session = static_cast<const CaptureSession*>(capture.session.get());
    center.post({kCaptureSessionDidStartRunning, session, {}});
    EXPECT_THAT(log.lines, ElementsAre("✅ Session started running notification received"));
    EXPECT_THAT(statuses, ElementsAre("Session démarrée"));
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

// Frames

TEST_F(CameraSessionTest, HandsFramesToTheHandlerIfThereIsOne) {
    const SampleBuffer sample{std::make_shared<fakes::EmptyPicture>(4, 3)};
    manager->captureOutputDidOutput(sample);
    int frames = 0;
    manager->frameHandler = [&](const SampleBuffer& given) {
        frames += given.imageBuffer == sample.imageBuffer ? 1 : 100;
    };
    manager->captureOutputDidOutput(sample);
    EXPECT_EQ(frames, 1);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(CameraSessionTest, ADroppedFrameIsALine) {
    manager->captureOutputDidDrop();
    EXPECT_THAT(log.lines, ElementsAre("⚠️ Dropped frame"));
    EXPECT_THAT(statuses, IsEmpty());
}

}  // namespace
}  // namespace velmaro
