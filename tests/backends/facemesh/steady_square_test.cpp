#include <gtest/gtest.h>

#include <cmath>

#include "backends/facemesh/Detector.h"
#include "backends/facemesh/LandmarkFinder.h"
#include "backends/facemesh/SteadySquare.h"

namespace velmaro::facemesh {
namespace {

/// An upright face of 100 pixels, whose square has 150.
Detection face(float x, float score = 0.9F) {
    return {score, {x, 300}, 100, 100, {x - 20, 280}, {x + 20, 280}};
}

/// Landmarks as wide as high, about the same place.
FacePoints landmarks(float x) {
    FacePoints points;
    points.fill({x, 300, 0});
    points[0] = {x - 50, 250, 0};
    points[1] = {x + 50, 350, 0};
    points[33] = {x - 20, 280, 0};
    points[263] = {x + 20, 280, 0};
    return points;
}

class Steady : public ::testing::Test {
protected:
    void SetUp() override { square.begin(squareAround(face(400))); }

    SteadySquare square;
};

TEST_F(Steady, OfASmallDifferenceATenthIsTakenOver) {
    EXPECT_NEAR(square.follow(face(401), landmarks(0)).centre.x, 400.1F, 1e-3F);
    EXPECT_NEAR(square.follow(face(401), landmarks(0)).centre.x, 400.19F, 1e-3F);
}

TEST_F(Steady, ALargeDifferenceIsTakenOverAtOnce) {
    EXPECT_EQ(square.follow(face(420), landmarks(0)).centre.x, 420);
}

TEST_F(Steady, BetweenThemAShareThatGrows) {
    // Nine pixels are 6 of 100 of the side, half way.
    EXPECT_NEAR(square.follow(face(409), landmarks(0)).centre.x, 404.5F, 1e-3F);
}

TEST_F(Steady, SizeAndTurnCountTooAndMoveWithIt) {
    Detection larger = face(400);
    larger.width = 150;
    EXPECT_EQ(square.follow(larger, landmarks(0)).side, 225);
    Detection leaning = larger;
    leaning.rightEye.y += 20;
    const TurnedSquare turned = square.follow(leaning, landmarks(0));
    EXPECT_NEAR(turned.across.y / turned.across.x, 0.5F, 1e-5F);
    EXPECT_NEAR(std::hypot(turned.across.x, turned.across.y), 1, 1e-5F);
}

TEST_F(Steady, TheLessSureTheDetectorIsTheMoreTheLandmarksCount) {
    EXPECT_EQ(square.follow(face(500, 0.75F), landmarks(600)).centre.x, 500);
    EXPECT_EQ(square.follow(face(500, 0.65F), landmarks(600)).centre.x, 550);
    EXPECT_EQ(square.follow(face(500, 0.55F), landmarks(700)).centre.x, 700);
    EXPECT_EQ(square.follow(face(500, 0.3F), landmarks(600)).centre.x, 600);
}

}  // namespace
}  // namespace velmaro::facemesh
