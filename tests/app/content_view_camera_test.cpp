#include <cmath>

#include "app/ContentViewFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ContentViewCameraTest : public ContentViewTest {
protected:
    void SetUp() override {
        capture.setLocal({desk});
        makeView();
        view->appear();
        log.take();
        capture.trace.clear();
    }

    /// What the detector has published, in degrees.
    void publish(float pan, float tilt) {
        view->faceDetector->pan = pan;
        view->faceDetector->tilt = tilt;
    }

    void start() {
        view->toggleTracking();
        runEverything();
    }
};

TEST_F(ContentViewCameraTest, StartingInstallsTheCallbacksAndStartsTheCapture) {
    view->cameraManager->selectedCamera = nullptr;
    view->toggleTracking();
    EXPECT_EQ(view->debugText.get(), "Starting camera...");
    EXPECT_EQ(view->cameraManager->selectedCamera.get(), desk);
    EXPECT_TRUE(view->cameraManager->frameHandler);
    EXPECT_TRUE(view->cameraManager->statusHandler);
    EXPECT_EQ(log.lines.front(), "📹 Setting up capture with: Desk Camera");
}

TEST_F(ContentViewCameraTest, StatusTextsReachTheStatusLineByWayOfTheMainThread) {
    view->toggleTracking();
    EXPECT_EQ(view->debugText.get(), "Starting camera...");
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_EQ(view->debugText.get(), "Input caméra ajouté");
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Connexion vidéo OK");
}

TEST_F(ContentViewCameraTest, CameraProblemsAreShownVerbatim) {
    capture.inputError = Error{"no", "La caméra est occupée"};
    start();
    EXPECT_EQ(view->debugText.get(), "❌ Erreur: La caméra est occupée");
    EXPECT_TRUE(view->isRunning.get());
}

TEST_F(ContentViewCameraTest, ShowsDetectingFromTheFirstFrameAndRunningFromEveryThirtieth) {
    start();
    for (int count = 1; count <= 91; ++count) {
        view->debugText = "untouched";
        frame();
        dispatch.main.run();
        const char* const expected = count == 1        ? "Detecting..."
                                     : count % 30 == 0 ? "Running"
                                                       : "untouched";
        EXPECT_EQ(view->debugText.get(), expected) << "frame " << count;
    }
}

TEST_F(ContentViewCameraTest, EachStartCountsAnew) {
    start();
    frame();
    dispatch.main.run();
    view->toggleTracking();
    start();
    frame();
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Detecting...");
}

TEST_F(ContentViewCameraTest, SendsAnglesWithBothSignsTurned) {
    start();
    publish(12.5F, -7);
    frame();
    EXPECT_THAT(sentValues(), ElementsAre(ElementsAre(-12.5F, 7.0F, 0.0F)));
}

TEST_F(ContentViewCameraTest, EveryFrameReachesTheSenderAnalysedOrNot) {
    start();
    view->oscManager.frameRate = -1;
    publish(5, 0);
    view->cameraManager->captureOutputDidOutput({picture});
    view->cameraManager->captureOutputDidOutput({picture});
    EXPECT_EQ(faces.requests, 0);
    EXPECT_EQ(sentValues().size(), 2U);
}

TEST_F(ContentViewCameraTest, SendsWhatEarlierFramesPublished) {
    start();
    faces.faces = {{.noseCrest = {{{0, 0}}},
                    .leftEye = {{{0, 0}}},
                    .rightEye = {{{1, 0}}},
                    .boundingBox = {0.25, 0.25, 0.5, 0.5},
                    .yaw = 0.5}};
    frame();
    dispatch.main.run();
    frame();
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0][0], 0.0F);
    EXPECT_LT(sent[1][0], -5.0F);
}

TEST_F(ContentViewCameraTest, WithTiltOffTheSecondValueIsZeroFromTheNextFrame) {
    start();
    publish(12.5F, -7);
    frame();
    view->tiltEnabled = false;
    frame();
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_THAT(sent[1], ElementsAre(-12.5F, 0.0F, 0.0F));
    EXPECT_FALSE(std::signbit(sent[1][1]));
}

TEST_F(ContentViewCameraTest, TheQuaternionKeepsTheSignOfPan) {
    start();
    view->quaternionOutput = true;
    publish(90, 0);
    frame();
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 1U);
    ASSERT_EQ(sent[0].size(), 4U);
    EXPECT_NEAR(sent[0][0], std::cos(M_PI / 4), 1e-6);
    EXPECT_EQ(sent[0][1], 0.0F);
    EXPECT_EQ(sent[0][2], 0.0F);
    EXPECT_NEAR(sent[0][3], std::sin(M_PI / 4), 1e-6);
}

TEST_F(ContentViewCameraTest, TheQuaternionUsesTheReversedTilt) {
    start();
    view->quaternionOutput = true;
    publish(0, -40);
    frame();
    EXPECT_NEAR(sentValues()[0][2], std::sin(20 * M_PI / 180), 1e-6);
    view->tiltEnabled = false;
    frame();
    EXPECT_EQ(sentValues()[1][2], 0.0F);
}

TEST_F(ContentViewCameraTest, StoppingEndsEverything) {
    start();
    frame();
    capture.trace.clear();
    view->toggleTracking();
    EXPECT_FALSE(view->isRunning.get());
    EXPECT_EQ(view->debugText.get(), "Stopped");
    EXPECT_THAT(capture.trace, ElementsAre("stopRunning"));
    EXPECT_FALSE(view->cameraManager->frameHandler);
    EXPECT_FALSE(view->cameraManager->statusHandler);
    EXPECT_EQ(network.connections[0]->cancelCount, 1);
    EXPECT_EQ(headphones.stopCount, 1);
    frame();
    EXPECT_EQ(sentValues().size(), 1U);
}

TEST_F(ContentViewCameraTest, AStartAfterAStopOpensAFreshConnection) {
    start();
    frame();
    view->toggleTracking();
    view->oscManager.port = "9000";
    start();
    frame();
    ASSERT_EQ(network.connections.size(), 2U);
    EXPECT_EQ(network.connections[1]->port.rawValue, 9000);
}

TEST_F(ContentViewCameraTest, ShowsPanAsItIsAndTiltReversed) {
    publish(12.5F, -7);
    EXPECT_EQ(view->currentPan(), 12.5F);
    EXPECT_EQ(view->currentTilt(), 7.0F);
    view->tiltEnabled = false;
    EXPECT_EQ(view->currentTilt(), 0.0F);
    EXPECT_EQ(view->currentPan(), 12.5F);
}

TEST_F(ContentViewCameraTest, WithNothingSelectedItShowsTheCamerasAngles) {
    view->select("gone");
    publish(12.5F, -7);
    EXPECT_EQ(view->currentPan(), 12.5F);
    EXPECT_EQ(view->currentTilt(), 7.0F);
    view->setOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 12.5F);
}

TEST_F(ContentViewCameraTest, TheOffsetMakesThePoseZeroAndTheResetUndoesIt) {
    start();
    publish(12.5F, -7);
    view->setOffset();
    EXPECT_EQ(view->currentPan(), 0.0F);
    frame();
    EXPECT_THAT(sentValues()[0], ElementsAre(0.0F, 0.0F, 0.0F));
    view->resetOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    EXPECT_EQ(view->faceDetector->offsetTilt.get(), 0.0F);
    frame();
    EXPECT_THAT(sentValues()[1], ElementsAre(-12.5F, 7.0F, 0.0F));
    EXPECT_THAT(defaults.values, IsEmpty());
}

TEST_F(ContentViewCameraTest, ReleasedWhileRunningItLeavesNothingBehind) {
    start();
    const std::weak_ptr<ContentView> weak = view;
    const auto manager = view->cameraManager;
    view.reset();
    EXPECT_TRUE(weak.expired());
    manager->captureOutputDidOutput({picture});
    EXPECT_THAT(sentValues(), IsEmpty());
}

}  // namespace
}  // namespace velmaro
