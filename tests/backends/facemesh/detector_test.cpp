#include "backends/facemesh/Detector.h"

#include "backends/facemesh/LandmarkFinder.h"
#include "backends/facemesh/ModelStore.h"
#include "backends/facemesh/Testing.h"

namespace velmaro::testing {
namespace {

using facemesh::Detection;
using facemesh::Detector;
using facemesh::TurnedSquare;

networks::Model model(std::string_view name) {
    return facemesh::loadModelFile(VELMARO_MODELS_DIR, name).and_then(networks::readModel).value();
}

TEST(Detector, OneFaceIsOneDetectionWithItsEyesInPlace) {
    Detector detector = Detector::create(model(facemesh::kDetectorFile)).value();
    const Frame frame = Portrait().frame(1280, 720, 500, 340, 260);
    const auto found = detector.detect(frame.view(), {0, 0, 1280, 720});
    ASSERT_EQ(found.size(), 1U);
    const Detection& face = found[0];
    EXPECT_GT(face.score, 0.8F);
    EXPECT_LE(face.score, 1);
    EXPECT_NEAR(face.centre.x, 500, 25);
    EXPECT_NEAR(face.centre.y, 340, 45);
    EXPECT_LT(face.leftEye.x, 500);
    EXPECT_GT(face.rightEye.x, 500);
    EXPECT_NEAR(face.rightEye.x - face.leftEye.x, 0.45 * 260, 30);
    EXPECT_LT(face.leftEye.y, 340);
}

TEST(Detector, TheHighestScoreIsFirst) {
    Detector detector = Detector::create(model(facemesh::kDetectorFile)).value();
    const Portrait portrait;
    Frame frame(1280, 720);
    portrait.paint(frame, 20, 100, 0.9);
    portrait.paint(frame, 480, 100, 0.7);
    portrait.paint(frame, 840, 100, 0.85);
    const auto found = detector.detect(frame.view(), {0, 0, 1280, 720});
    ASSERT_EQ(found.size(), 3U);
    EXPECT_GE(found[0].score, found[1].score);
    EXPECT_GE(found[1].score, found[2].score);
}

TEST(Detector, RefusesAnotherNetwork) {
    EXPECT_FALSE(Detector::create(model(facemesh::kLandmarkFile)));
    EXPECT_FALSE(facemesh::LandmarkFinder::create(model(facemesh::kDetectorFile)));
}

TEST(SquareAround, ADetectionIsLargerThanItAndUprightByTheEyes) {
    const Detection detection = {0.9F, {100, 80}, 40, 50, {90, 70}, {98, 76}};
    const TurnedSquare square = facemesh::squareAround(detection);
    EXPECT_FLOAT_EQ(square.side, 75);
    EXPECT_FLOAT_EQ(square.centre.x, 100);
    EXPECT_FLOAT_EQ(square.across.x, 0.8F);
    EXPECT_FLOAT_EQ(square.across.y, 0.6F);
}

TEST(SquareAround, EyesAtOnePlaceGiveAnUprightSquare) {
    const Detection detection = {0.9F, {100, 80}, 40, 50, {90, 70}, {90, 70}};
    EXPECT_FLOAT_EQ(facemesh::squareAround(detection).across.x, 1);
}

TEST(LandmarkFinder, FollowsATurnedFace) {
    auto finder = facemesh::LandmarkFinder::create(model(facemesh::kLandmarkFile)).value();
    const Frame frame = Portrait().frame(640, 480, 320, 240, 200);
    facemesh::FacePoints upright;
    facemesh::FacePoints turned;
    EXPECT_GT(finder.find(frame.view(), {{320, 240}, 300, {1, 0}}, upright), 0.9F);
    EXPECT_GT(finder.find(frame.view(), {{320, 240}, 300, {0.98F, 0.199F}}, turned), 0.9F);
    for (const std::size_t point : {1, 33, 263, 152, 10}) {
        EXPECT_NEAR(upright[point].x, turned[point].x, 6);
        EXPECT_NEAR(upright[point].y, turned[point].y, 6);
    }
}

TEST(LandmarkFinder, NoFaceHasNoPresence) {
    auto finder = facemesh::LandmarkFinder::create(model(facemesh::kLandmarkFile)).value();
    facemesh::FacePoints points;
    EXPECT_LT(finder.find(Frame(200, 200).view(), {{100, 100}, 100, {1, 0}}, points), 0.1F);
}

}  // namespace
}  // namespace velmaro::testing
