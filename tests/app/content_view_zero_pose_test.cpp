// The zero pose belongs to the source, and so do the signs; nothing outlives the view.

#include <cmath>

#include "app/ContentViewFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kRecordKey = "headphoneCalibration";

/// A camera and connected headphones, both of which have measured something.
class ContentViewZeroPoseTest : public ContentViewTest {
protected:
    void SetUp() override {
        capture.setLocal({desk});
        headphones.available = true;
        makeView();
        view->appear();
        view->faceDetector->pan = 12.0F;
        view->faceDetector->tilt = -7.0F;
        view->headphoneManager->calibration.update(sample);
        view->headphoneManager->pan = 40.0F;
        view->headphoneManager->tilt = 5.0F;
    }

    [[nodiscard]] CMQuaternion restPose() const {
        return view->headphoneManager->calibration.idleQuaternion;
    }

    static bool isIdentity(const CMQuaternion& q) {
        return q.x == 0 && q.y == 0 && q.z == 0 && q.w == 1;
    }

    std::shared_ptr<const DeviceMotion> sample =
        std::make_shared<const DeviceMotion>(DeviceMotion{{{0.5, 0.25, -0.125, 0.75}}});
};

TEST_F(ContentViewZeroPoseTest, ACamerasIsTheDetectorsAlone) {
    view->setOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 12.0F);
    EXPECT_EQ(view->faceDetector->offsetTilt.get(), -7.0F);
    EXPECT_TRUE(isIdentity(restPose()));
    EXPECT_EQ(defaults.storeCount, 0);
}

TEST_F(ContentViewZeroPoseTest, TheHeadphonesIsTheirsAlone) {
    view->select("airpods");
    view->setOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    EXPECT_EQ(view->faceDetector->offsetTilt.get(), 0.0F);
    EXPECT_EQ(restPose().x, -0.5);
    EXPECT_EQ(restPose().y, -0.25);
    EXPECT_EQ(restPose().z, 0.125);
    EXPECT_EQ(restPose().w, 0.75);
    EXPECT_EQ(defaults.storeCount, 1);
}

TEST_F(ContentViewZeroPoseTest, NothingChosenCountsAsACamera) {
    view->select("camera_gone");
    view->setOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 12.0F);
    EXPECT_EQ(defaults.storeCount, 0);
    EXPECT_EQ(view->currentPan(), 0.0F);
    view->resetOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    EXPECT_EQ(view->currentPan(), 12.0F);
    EXPECT_EQ(view->currentTilt(), 7.0F);
}

TEST_F(ContentViewZeroPoseTest, HeadphonesThatAreGoneCountAsNothingChosen) {
    view->select("airpods");
    headphones.disconnect();
    dispatch.main.run();
    view->setOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 12.0F);
    EXPECT_EQ(defaults.storeCount, 0);
}

TEST_F(ContentViewZeroPoseTest, ACamerasResetLeavesTheHeadphonesAlone) {
    view->setOffset();
    view->headphoneManager->calibration.storeCalibration();
    view->headphoneManager->calibration.idleQuaternion = {1, 0, 0, 0};
    view->resetOffset();
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
    EXPECT_EQ(view->faceDetector->offsetTilt.get(), 0.0F);
    EXPECT_EQ(restPose().x, 1.0) << "restored by a camera's reset";
}

TEST_F(ContentViewZeroPoseTest, TheHeadphonesResetLeavesTheCameraAlone) {
    view->setOffset();
    view->select("airpods");
    view->setOffset();
    view->headphoneManager->calibration.idleQuaternion = {1, 0, 0, 0};
    view->resetOffset();
    EXPECT_EQ(restPose().x, -0.5);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 12.0F);
    EXPECT_EQ(view->faceDetector->offsetTilt.get(), -7.0F);
    EXPECT_EQ(defaults.storeCount, 1);
}

TEST_F(ContentViewZeroPoseTest, PanIsSetAndResetBeforeTilt) {
    std::string order;
    const Subscription pan = view->faceDetector->offsetPan.observe([&](float) { order += "pan "; });
    const Subscription tilt =
        view->faceDetector->offsetTilt.observe([&](float) { order += "tilt "; });
    order.clear();
    view->setOffset();
    view->resetOffset();
    EXPECT_EQ(order, "pan tilt pan tilt ");
}

TEST_F(ContentViewZeroPoseTest, ARecordThatIsThereIsUsedFromTheFirstSample) {
    view->select("airpods");
    view->setOffset();
    EXPECT_EQ(defaults.values.count(kRecordKey), 1U);
    makeView();
    EXPECT_EQ(restPose().x, -0.5);
}

// Signs

TEST_F(ContentViewZeroPoseTest, ShowsTheChosenSourceOnly) {
    EXPECT_EQ(view->currentPan(), 12.0F);
    EXPECT_EQ(view->currentTilt(), 7.0F);
    view->select("airpods");
    EXPECT_EQ(view->currentPan(), -40.0F);
    EXPECT_EQ(view->currentTilt(), 5.0F);
}

TEST_F(ContentViewZeroPoseTest, ShowsNoTiltOfEitherSourceWhileItIsOff) {
    view->tiltEnabled = false;
    EXPECT_EQ(view->currentTilt(), 0.0F);
    EXPECT_FALSE(std::signbit(view->currentTilt()));
    EXPECT_EQ(view->currentPan(), 12.0F);
    view->select("airpods");
    EXPECT_EQ(view->currentTilt(), 0.0F);
    EXPECT_EQ(view->currentPan(), -40.0F);
}

TEST_F(ContentViewZeroPoseTest, ShowsACamerasOffset) {
    view->faceDetector->offsetPan = 2.0F;
    view->faceDetector->offsetTilt = 3.0F;
    EXPECT_EQ(view->currentPan(), 10.0F);
    EXPECT_EQ(view->currentTilt(), 10.0F);
}

TEST_F(ContentViewZeroPoseTest, SendsTheBitsOfACamerasAngles) {
    view->toggleTracking();
    runEverything();
    frame();
    EXPECT_THAT(sentBits(), ElementsAre(0xC1400000U, 0x40E00000U, 0U));
    view->faceDetector->pan = 0.0F;
    view->faceDetector->tilt = 0.0F;
    frame();
    // Zero changes its sign too; the third value never does.
    EXPECT_THAT(sentBits(), ElementsAre(0x80000000U, 0x80000000U, 0U));
    view->tiltEnabled = false;
    frame();
    EXPECT_THAT(sentBits(), ElementsAre(0x80000000U, 0U, 0U));
}

TEST_F(ContentViewZeroPoseTest, SendsTheBitsOfACamerasQuaternion) {
    view->quaternionOutput = true;
    view->faceDetector->pan = 33.3F;
    view->faceDetector->tilt = -21.7F;
    view->toggleTracking();
    runEverything();
    frame();
    EXPECT_THAT(sentBits(), ElementsAre(0x3F70E1D3U, 0xBD5CEAE1U, 0x3E38ACAAU, 0x3E9013FBU));
}

TEST_F(ContentViewZeroPoseTest, SendsTheBitsOfTheHeadphonesQuaternion) {
    view->select("airpods");
    view->quaternionOutput = true;
    view->toggleTracking();
    view->headphoneManager->onMotionUpdate(33.3F, 12.5F, 77);
    EXPECT_THAT(sentBits(), ElementsAre(0x3F73CF13U, 0x3CFF8886U, 0x3DD59C7FU, 0xBE91D421U));
}

TEST_F(ContentViewZeroPoseTest, SendsTheBitsOfTheHeadphonesAngles) {
    view->select("airpods");
    view->toggleTracking();
    view->headphoneManager->onMotionUpdate(-0.0F, 12.5F, -77);
    EXPECT_THAT(sentBits(), ElementsAre(0x80000000U, 0x41480000U, 0xC29A0000U));
}

TEST_F(ContentViewZeroPoseTest, WithTiltOffTheHeadphonesQuaternionHasPanOnly) {
    view->select("airpods");
    view->quaternionOutput = true;
    view->tiltEnabled = false;
    view->toggleTracking();
    view->headphoneManager->onMotionUpdate(90, 40, 20);
    EXPECT_THAT(sentBits(), ElementsAre(0x3F3504F4U, 0U, 0U, 0xBF3504F3U));
}

// Lifetime

TEST_F(ContentViewZeroPoseTest, ItsServicesEndWithIt) {
    const std::weak_ptr<CameraManager> camera = view->cameraManager;
    const std::weak_ptr<FaceDetector> detector = view->faceDetector;
    const std::weak_ptr<HeadphoneMotionManager> tracker = view->headphoneManager;
    view->toggleTracking();
    runEverything();
    dispatch.main.advance(1);
    view.reset();
    EXPECT_TRUE(camera.expired());
    EXPECT_TRUE(detector.expired());
    EXPECT_TRUE(tracker.expired());
    EXPECT_FALSE(headphones.active);
}

TEST_F(ContentViewZeroPoseTest, WhatIsPostedFindsNobodyAfterItsEnd) {
    view->select("airpods");
    view->toggleTracking();
    motion({});
    headphones.disconnect();
    const std::weak_ptr<ContentView> weak = view;
    view.reset();
    EXPECT_TRUE(weak.expired()) << "held by what is posted";
    EXPECT_GT(dispatch.main.run(), 0);
}

TEST_F(ContentViewZeroPoseTest, RunningHeadphonesDoNotHoldIt) {
    view->select("airpods");
    view->toggleTracking();
    const auto tracker = view->headphoneManager;
    const std::weak_ptr<ContentView> weak = view;
    view.reset();
    EXPECT_TRUE(weak.expired());
    tracker->onMotionUpdate(1, 2, 3);
    tracker->onConnectionChanged(false);
    EXPECT_THAT(sentValues(), IsEmpty());
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(ContentViewZeroPoseTest, ItEndsItsWatchOverTheHeadphones) {
    view->select("");
    const auto tracker = view->headphoneManager;
    const std::weak_ptr<ContentView> weak = view;
    view.reset();
    EXPECT_TRUE(weak.expired());
    tracker->isConnected = true;
    EXPECT_EQ(dispatch.main.run(), 0);
}

TEST_F(ContentViewZeroPoseTest, AFrameUnderWayKeepsItUntilItIsSent) {
    view->toggleTracking();
    runEverything();
    const auto manager = view->cameraManager;
    const std::weak_ptr<ContentView> weak = view;
    faces.beforeCompletion = [this] { view.reset(); };
    clock.time += 1;
    manager->captureOutputDidOutput({picture});
    EXPECT_EQ(sentValues().size(), 1U);
    EXPECT_TRUE(weak.expired());
}

TEST_F(ContentViewZeroPoseTest, ARestartThatWaitsFindsNobodyAfterItsEnd) {
    view->select("");
    view->toggleTracking();
    headphones.connect();
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_EQ(dispatch.main.pending(), 1U);
    const std::weak_ptr<ContentView> weak = view;
    view.reset();
    EXPECT_TRUE(weak.expired());
    dispatch.main.run();
    EXPECT_EQ(headphones.startCount, 0);
}

}  // namespace
}  // namespace velmaro
