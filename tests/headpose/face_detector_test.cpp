#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "fakes/Dispatch.h"
#include "fakes/FaceLandmarks.h"
#include "fakes/Log.h"
#include "fakes/WallClock.h"
#include "headpose/FaceDetector.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kInterval = 1.0 / 30.0;

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

fakes::ScriptedFace exampleFace() {
    return {.noseCrest = {{{0, 0}, {0, 0}, {0, 0}, {0.52, 0.46}, {0, 0}, {0, 0}}},
            .leftEye = {{{0.30, 0.62}}},
            .rightEye = {{{0.70, 0.62}}},
            .boundingBox = {0.4, 0.3, 0.25, 0.4},
            .yaw = 0.1};
}

/// A face in the middle of the image whose raw angles are `pan` and `tilt` degrees.
fakes::ScriptedFace faceAt(double pan, double tilt) {
    return {.noseCrest = {{{0.5 + pan / 90.0, -(tilt + 90.0) / 180.0}}},
            .leftEye = {{{0, 0}}},
            .rightEye = {{{1, 0}}},
            .boundingBox = {0.25, 0.25, 0.5, 0.5},
            .yaw = {}};
}

class FaceDetectorTest : public testing::Test {
protected:
    void frame(double after = 1.0) {
        clock.time += after;
        detector->processSampleBuffer({picture});
    }
    void analysed(const fakes::ScriptedFace& face) {
        landmarks.faces = {face};
        frame();
        dispatch.main.run();
    }

    fakes::HandCrankedDispatch dispatch;
    fakes::ScriptedFaceLandmarks landmarks;
    fakes::ManualClock clock;
    fakes::CapturedLog log;
    std::shared_ptr<const PixelBuffer> picture = std::make_shared<fakes::EmptyPicture>(1280, 720);
    std::shared_ptr<FaceDetector> detector = FaceDetector::create(landmarks, dispatch, clock, log);
};

TEST_F(FaceDetectorTest, BeginsAheadWithoutAnOffset) {
    for (const float angle : {detector->pan.get(), detector->tilt.get(), detector->offsetPan.get(),
                              detector->offsetTilt.get()}) {
        EXPECT_EQ(bits(angle), bits(0.0F));
    }
}

TEST_F(FaceDetectorTest, PublishesTheWorkedExample) {
    landmarks.faces = {exampleFace()};
    frame();
    EXPECT_THAT(log.take(), ElementsAre("📍 Landmarks available",
                                        "🎯 Calculated: Pan=6.7295785°, Tilt=-18.359703° | "
                                        "Smoothed: Pan=2.0188737°, FinalTilt=0.0°"));
    EXPECT_EQ(detector->pan.get(), 0.0F);
    dispatch.main.run();
    EXPECT_EQ(bits(detector->pan.get()), bits(2.0188737F));
    EXPECT_EQ(bits(detector->tilt.get()), bits(0.0F));
}

TEST_F(FaceDetectorTest, SmoothsTheWorkedExampleWithoutYaw) {
    fakes::ScriptedFace face = exampleFace();
    face.yaw.reset();
    analysed(face);
    EXPECT_FLOAT_EQ(detector->pan.get(), 1.65F);
    // Three more frames take the smoothed tilt from -5.4 to beyond the dead zone's edge.
    analysed(face);
    analysed(face);
    analysed(face);
    EXPECT_EQ(detector->tilt.get(), 0.0F);
    for (int count = 0; count < 60; ++count) {
        analysed(face);
    }
    EXPECT_NEAR(detector->tilt.get(), -3.0F, 1e-4);
}

TEST_F(FaceDetectorTest, SkipsAFrameSoonAfterConstructionSilently) {
    landmarks.faces = {exampleFace()};
    frame(0.02);
    EXPECT_EQ(landmarks.requests, 0);
    EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(FaceDetectorTest, AnalysesAFrameExactlyOneIntervalAfterTheLast) {
    frame(kInterval);
    EXPECT_EQ(landmarks.requests, 1);
}

TEST_F(FaceDetectorTest, SkipsAFrameJustBeforeOneInterval) {
    frame(std::nextafter(kInterval, 0.0));
    EXPECT_EQ(landmarks.requests, 0);
}

TEST_F(FaceDetectorTest, TheClockIsReadOncePerFrame) {
    frame();
    const int before = clock.looks;
    clock.tick = 0.02;
    frame();
    EXPECT_EQ(clock.looks, before + 1);
    clock.tick = 0;
    // 1/30 s after what was compared, which a later look would not have been.
    clock.time -= 0.02;
    frame(kInterval + 0.001);
    EXPECT_EQ(landmarks.requests, 3);
}

TEST_F(FaceDetectorTest, TheLastAnalysisCountsFromBeforeItBegan) {
    landmarks.beforeCompletion = [this] { clock.time += 0.02; };
    frame();
    frame(0.015);
    EXPECT_EQ(landmarks.requests, 2);
}

TEST_F(FaceDetectorTest, TheLineIsWrittenBeforeThePublicationIsPosted) {
    std::vector<std::string> trace;
    log.trace = &trace;
    dispatch.main.trace = &trace;
    landmarks.faces = {exampleFace()};
    frame();
    EXPECT_THAT(trace,
                ElementsAre("📍 Landmarks available", testing::StartsWith("🎯"), "post to main"));
}

TEST_F(FaceDetectorTest, TheOffsetOfPanIsSetBeforeThatOfTilt) {
    std::string order;
    const Subscription pan = detector->offsetPan.observe([&](float) { order += "pan "; });
    const Subscription tilt = detector->offsetTilt.observe([&](float) { order += "tilt "; });
    order.clear();
    detector->setOffset();
    EXPECT_EQ(order, "pan tilt ");
}

TEST_F(FaceDetectorTest, ASkippedFrameDoesNotMoveTheThrottle) {
    frame(0.02);
    frame(0.02);
    EXPECT_EQ(landmarks.requests, 1);
    frame(0.02);
    EXPECT_EQ(landmarks.requests, 1);
    frame(0.02);
    EXPECT_EQ(landmarks.requests, 2);
}

TEST_F(FaceDetectorTest, AClockThatStepsBackHoldsFramesUntilItHasCaughtUp) {
    frame();
    frame(-10);
    frame(9.9);
    EXPECT_EQ(landmarks.requests, 1);
    frame(0.2);
    EXPECT_EQ(landmarks.requests, 2);
}

TEST_F(FaceDetectorTest, ASampleWithoutAPictureLeavesTheThrottleAlone) {
    clock.time += 1;
    detector->processSampleBuffer({});
    EXPECT_EQ(landmarks.requests, 0);
    frame(0);
    EXPECT_EQ(landmarks.requests, 1);
}

TEST_F(FaceDetectorTest, AFailedAnalysisIsSilentButUsesUpTheInterval) {
    landmarks.faces = {exampleFace()};
    landmarks.performs = false;
    frame();
    landmarks.performs = true;
    frame(0.02);
    EXPECT_EQ(landmarks.requests, 1);
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(FaceDetectorTest, ErrorsAndEmptyResultsDoNothing) {
    landmarks.faces = {exampleFace()};
    landmarks.error = Error{"broken", "broken"};
    frame();
    landmarks.error.reset();
    landmarks.hasResults = false;
    frame();
    landmarks.hasResults = true;
    landmarks.faces.clear();
    frame();
    EXPECT_EQ(landmarks.requests, 3);
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(FaceDetectorTest, ADetectorThatIsGoneByTheCompletionDoesNothing) {
    landmarks.faces = {exampleFace()};
    clock.time += 1;
    landmarks.beforeCompletion = [this] { detector.reset(); };
    FaceDetector* const last = detector.get();
    last->processSampleBuffer({picture});
    EXPECT_EQ(landmarks.requests, 1);
    EXPECT_THAT(log.lines, IsEmpty());
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(FaceDetectorTest, UsesTheFirstFaceOnly) {
    landmarks.faces = {faceAt(10, 0), faceAt(-170, 0)};
    frame();
    dispatch.main.run();
    EXPECT_FLOAT_EQ(detector->pan.get(), 3.0F);
}

TEST_F(FaceDetectorTest, AFaceWithoutLandmarksIsALineAndNothingElse) {
    fakes::ScriptedFace face = exampleFace();
    face.hasLandmarks = false;
    analysed(exampleFace());
    const float pan = detector->pan.get();
    log.take();
    landmarks.faces = {face};
    frame();
    EXPECT_THAT(log.lines, ElementsAre("❌ No landmarks available"));
    EXPECT_EQ(dispatch.main.pending(), 0U);
    EXPECT_EQ(detector->pan.get(), pan);
}

TEST_F(FaceDetectorTest, AFaceWithoutANoseCrestPullsBothAnglesTowardZero) {
    for (int count = 0; count < 60; ++count) {
        analysed(faceAt(10, -30));
    }
    const float pan = detector->pan.get();
    const float tilt = detector->tilt.get();
    EXPECT_NEAR(pan, 10, 1e-4);
    EXPECT_NEAR(tilt, -15, 1e-4);
    log.take();
    fakes::ScriptedFace face = exampleFace();
    face.noseCrest.reset();
    analysed(face);
    EXPECT_THAT(log.lines,
                ElementsAre("📍 Landmarks available",
                            testing::StartsWith("🎯 Calculated: Pan=0.0°, Tilt=0.0° | Smoothed: ")));
    EXPECT_EQ(detector->pan.get(), pan * 0.7F);
    EXPECT_NEAR(detector->tilt.get(), -6.0F, 1e-4);
}

TEST_F(FaceDetectorTest, AnEmptyRegionEndsSilentlyAfterTheFirstLine) {
    fakes::ScriptedFace face = exampleFace();
    face.rightEye->clear();
    landmarks.faces = {face};
    frame();
    EXPECT_THAT(log.lines, ElementsAre("📍 Landmarks available"));
    EXPECT_EQ(dispatch.main.pending(), 0U);
}

TEST_F(FaceDetectorTest, PanIsClampedBeforeTheSmoothingAndHasNoDeadZone) {
    analysed(faceAt(250, 0));
    EXPECT_EQ(bits(detector->pan.get()), bits(54.000004F));
    EXPECT_EQ(bits(54.000004F), bits(180.0F * 0.3F));
}

TEST_F(FaceDetectorTest, SmoothsInThisOrderToTheBit) {
    std::vector<std::uint32_t> published;
    for (const auto& [pan, tilt] :
         {std::pair(33.3, 77.7), std::pair(-120.1, -61.9), std::pair(7.9, -88.3)}) {
        analysed(faceAt(pan, tilt));
        published.push_back(bits(detector->pan.get()));
        published.push_back(bits(detector->tilt.get()));
    }
    EXPECT_THAT(published,
                ElementsAre(0x411FD70AU, 0x4104F5C2U, 0xC1E84BC8U, 0U, 0xC18FA5AFU, 0xC15112DAU));
}

TEST_F(FaceDetectorTest, ASmallPanIsPublishedAsItIs) {
    for (int count = 0; count < 100; ++count) {
        analysed(faceAt(3, 0));
    }
    EXPECT_NEAR(detector->pan.get(), 3.0F, 1e-5);
}

TEST_F(FaceDetectorTest, NotANumberGoesToTheUpperBounds) {
    fakes::ScriptedFace face = exampleFace();
    face.noseCrest = face.leftEye = face.rightEye = {{{0.5, 0.5}}};
    face.yaw.reset();
    landmarks.faces = {face};
    frame();
    EXPECT_EQ(
        log.lines.back(),
        "🎯 Calculated: Pan=180.0°, Tilt=90.0° | Smoothed: Pan=54.000004°, FinalTilt=12.000002°");
}

TEST_F(FaceDetectorTest, PublishesTheTiltOfTheFrameButTheLatestPan) {
    landmarks.faces = {faceAt(100, -90)};
    frame();
    landmarks.faces = {faceAt(100, 90)};
    frame();
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_FLOAT_EQ(detector->pan.get(), 51.0F);
    EXPECT_FLOAT_EQ(detector->tilt.get(), -12.0F);
    ASSERT_TRUE(dispatch.main.runOne());
    EXPECT_FLOAT_EQ(detector->pan.get(), 51.0F);
    EXPECT_EQ(detector->tilt.get(), 0.0F);
}

TEST_F(FaceDetectorTest, TheQueuedPublicationKeepsTheDetectorAlive) {
    landmarks.faces = {exampleFace()};
    frame();
    const std::weak_ptr<FaceDetector> weak = detector;
    detector.reset();
    EXPECT_FALSE(weak.expired());
    dispatch.main.run();
    EXPECT_TRUE(weak.expired());
}

TEST_F(FaceDetectorTest, TellsObserversBeforePanAndThenBeforeTilt) {
    landmarks.faces = {faceAt(100, -90)};
    frame();
    std::vector<std::pair<float, float>> seen;
    const Subscription subscription = detector->observeChanges(
        [&] { seen.emplace_back(detector->pan.get(), detector->tilt.get()); });
    dispatch.main.run();
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0], std::make_pair(0.0F, 0.0F));
    EXPECT_FLOAT_EQ(seen[1].first, 30.0F);
    EXPECT_EQ(seen[1].second, 0.0F);
    seen.clear();
    detector->setOffset();
    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(FaceDetectorTest, AdjustedAnglesAreClampedAfterTheOffset) {
    detector->pan = 170.0F;
    detector->offsetPan = -30.0F;
    EXPECT_EQ(detector->getAdjustedPan(), 180.0F);
    detector->tilt = -80.0F;
    detector->offsetTilt = 20.0F;
    EXPECT_EQ(detector->getAdjustedTilt(), -90.0F);
}

TEST_F(FaceDetectorTest, AfterSettingTheOffsetTheAnglesAreZeroUntilTheNextPublication) {
    for (int count = 0; count < 10; ++count) {
        analysed(faceAt(40, 80));
    }
    detector->setOffset();
    EXPECT_EQ(detector->getAdjustedPan(), 0.0F);
    EXPECT_EQ(detector->getAdjustedTilt(), 0.0F);
    analysed(faceAt(40, 80));
    EXPECT_GT(detector->getAdjustedPan(), 0.0F);
    // The smoothing never heard of the offset.
    EXPECT_NEAR(detector->pan.get(), 39.2F, 0.1F);
}

TEST_F(FaceDetectorTest, TheFrameIsSharedAndLetGo) {
    landmarks.faces = {exampleFace()};
    frame();
    EXPECT_FALSE(landmarks.lastImage.expired());
    picture.reset();
    EXPECT_TRUE(landmarks.lastImage.expired());
}

}  // namespace
}  // namespace velmaro
