#include <cmath>

#include "app/ContentViewFixture.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A rotation by `degrees` about one axis.
CMQuaternion about(char axis, double degrees) {
    const double half = degrees * M_PI / 360;
    CMQuaternion q{0, 0, 0, std::cos(half)};
    (axis == 'x' ? q.x : axis == 'y' ? q.y : q.z) = std::sin(half);
    return q;
}

class ContentViewHeadphonesTest : public ContentViewTest {
protected:
    void SetUp() override {
        headphones.available = true;
        makeView();
        view->appear();
        view->toggleTracking();
        log.take();
    }
};

TEST_F(ContentViewHeadphonesTest, StartingConnects) {
    EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
    EXPECT_EQ(headphones.startCount, 1);
    EXPECT_EQ(headphones.startedOn, &dispatch.main);
    EXPECT_THAT(capture.trace, IsEmpty());
}

TEST_F(ContentViewHeadphonesTest, SendsTheAnglesAsDelivered) {
    motion(about('z', -10));
    motion(about('x', 10));
    motion(about('y', 10));
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_NEAR(sent[0][0], 10, 1e-4);
    EXPECT_NEAR(sent[1][1], 10, 1e-4);
    EXPECT_NEAR(sent[2][2], 10, 1e-4);
    EXPECT_EQ(sent[2][2], view->headphoneManager->roll.get());
}

TEST_F(ContentViewHeadphonesTest, WithTiltOffRollIsStillSent) {
    view->tiltEnabled = false;
    motion(about('x', 10));
    motion(about('y', 10));
    const auto sent = sentValues();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0][1], 0.0F);
    EXPECT_NEAR(sent[1][2], 10, 1e-4);
}

TEST_F(ContentViewHeadphonesTest, TheQuaternionReversesPanAndIgnoresRoll) {
    view->quaternionOutput = true;
    motion(about('z', -90));
    auto sent = sentValues();
    ASSERT_EQ(sent[0].size(), 4U);
    EXPECT_NEAR(sent[0][0], std::cos(M_PI / 4), 1e-6);
    EXPECT_NEAR(sent[0][3], -std::sin(M_PI / 4), 1e-6);
    motion(about('y', 30));
    sent = sentValues();
    EXPECT_NEAR(sent[1][0], 1.0, 1e-6);
    motion(about('x', 40));
    sent = sentValues();
    EXPECT_NEAR(sent[2][2], std::sin(20 * M_PI / 180), 1e-6);
}

TEST_F(ContentViewHeadphonesTest, EveryUpdatePostsRunning) {
    motion({});
    EXPECT_EQ(view->debugText.get(), "Connecting AirPods...");
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Running (AirPods)");
    view->debugText = "untouched";
    motion({});
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "Running (AirPods)");
}

TEST_F(ContentViewHeadphonesTest, ConnectionChangesAreShown) {
    headphones.disconnect();
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "AirPods disconnected");
    headphones.connect();
    dispatch.main.run();
    EXPECT_EQ(view->debugText.get(), "AirPods connected");
}

TEST_F(ContentViewHeadphonesTest, ShowsPanReversedAndTiltAsDelivered) {
    motion(about('z', -10));
    EXPECT_NEAR(view->currentPan(), -10, 1e-4);
    motion(about('x', 10));
    EXPECT_NEAR(view->currentTilt(), 10, 1e-4);
    view->tiltEnabled = false;
    EXPECT_EQ(view->currentTilt(), 0.0F);
}

TEST_F(ContentViewHeadphonesTest, SettingTheOffsetBeforeAnySamplePersistsNothing) {
    view->setOffset();
    EXPECT_THAT(defaults.values, IsEmpty());
    motion(about('z', -10));
    EXPECT_NEAR(view->headphoneManager->pan.get(), 10, 1e-4);
}

TEST_F(ContentViewHeadphonesTest, SettingTheOffsetMakesThePoseZeroAndKeepsIt) {
    motion(about('z', -10));
    view->setOffset();
    EXPECT_EQ(defaults.values.count("headphoneCalibration"), 1U);
    motion(about('z', -10));
    EXPECT_NEAR(view->headphoneManager->pan.get(), 0, 1e-4);
    // The reset returns to what was stored last, not to the headphones' own frame.
    view->resetOffset();
    motion(about('z', -10));
    EXPECT_NEAR(view->headphoneManager->pan.get(), 0, 1e-4);
    EXPECT_EQ(view->faceDetector->offsetPan.get(), 0.0F);
}

TEST_F(ContentViewHeadphonesTest, StoppingRemovesTheCallbacksAndTheConnection) {
    motion({});
    view->toggleTracking();
    EXPECT_FALSE(headphones.active);
    EXPECT_FALSE(view->headphoneManager->onMotionUpdate);
    EXPECT_FALSE(view->headphoneManager->onConnectionChanged);
    EXPECT_EQ(network.connections[0]->cancelCount, 1);
    EXPECT_EQ(view->debugText.get(), "Stopped");
}

}  // namespace
}  // namespace velmaro
