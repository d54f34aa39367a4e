#include "backends/facemesh/Observation.h"

#include <gtest/gtest.h>

namespace velmaro::facemesh {
namespace {

/// All points at one place but for those that span the face's extent.
FacePoints spanning(float left, float top, float right, float bottom) {
    FacePoints points;
    points.fill({(left + right) / 2, (top + bottom) / 2, 0});
    points[10] = {left, top, 0};
    points[152] = {right, bottom, 0};
    return points;
}

TEST(Observation, TheBoxIsASquareAroundThePointsFromTheLowerLeft) {
    Observation observation;
    // 100 wide and 200 high: the square is 200 a side and reaches from 50 to 250.
    const Rectangle box =
        observation.describe(spanning(100, 40, 200, 240), 0.1, 1000, 400).boundingBox;
    EXPECT_NEAR(box.x, 0.05, 1e-9);
    EXPECT_NEAR(box.width, 0.2, 1e-9);
    EXPECT_NEAR(box.y, 0.4, 1e-9);
    EXPECT_NEAR(box.height, 0.5, 1e-9);
}

TEST(Observation, TheBoxIsNotClampedToThePicture) {
    Observation observation;
    const Rectangle box =
        observation.describe(spanning(-50, 300, 150, 500), 0.1, 1000, 400).boundingBox;
    EXPECT_NEAR(box.x, -0.05, 1e-9);
    EXPECT_NEAR(box.y, -0.25, 1e-9);
}

TEST(Observation, PointsAreSharesOfTheBoxUpward) {
    FacePoints points = spanning(100, 40, 200, 240);
    points[4] = {100, 90, 0};
    points[168] = {150, 40, 0};
    points[33] = {50, 240, 0};
    points[398] = {250, 140, 0};
    Observation observation;
    const FaceObservation& face = observation.describe(points, -0.25, 1000, 400);
    EXPECT_EQ(face.yaw, -0.25);
    const FaceRegions& regions = face.landmarks.value();
    EXPECT_NEAR((*regions.noseCrest)[3].x, 0.25, 1e-9);
    EXPECT_NEAR((*regions.noseCrest)[3].y, 0.75, 1e-9);
    EXPECT_NEAR((*regions.noseCrest)[0].y, 1, 1e-9);
    EXPECT_NEAR((*regions.leftEye)[0].x, 0, 1e-9);
    EXPECT_NEAR((*regions.leftEye)[0].y, 0, 1e-9);
    EXPECT_NEAR((*regions.rightEye)[15].x, 1, 1e-9);
    EXPECT_NEAR((*regions.rightEye)[15].y, 0.5, 1e-9);
}

TEST(Observation, TheTipIsTheMiddleOfTheNoseCrest) {
    EXPECT_EQ(kNoseCrestPoints[kNoseCrestPoints.size() / 2], 4U);
    EXPECT_EQ(kLeftEyePoints.size(), 16U);
    EXPECT_EQ(kRightEyePoints.size(), 16U);
}

}  // namespace
}  // namespace velmaro::facemesh
