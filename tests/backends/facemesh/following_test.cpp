#include <cmath>

#include "backends/facemesh/FaceAnalyzer.h"
#include "backends/facemesh/Testing.h"

// What the faces of one picture owe to the pictures before it.

namespace velmaro::testing {
namespace {

using facemesh::Face;
using facemesh::FaceAnalyzer;

class Following : public ::testing::Test {
protected:
    /// The middle of the first face, if there is one.
    std::optional<facemesh::PixelPoint> look(const Frame& frame) {
        const std::span<const Face> faces = analyzer.analyze(view(frame));
        if (faces.empty()) {
            return std::nullopt;
        }
        const auto square = facemesh::squareAround(faces.front().points);
        return square.centre;
    }

    /// Pictures until the face is found at x, at most `limit`; that is the answer when it is not.
    int picturesUntilAt(const Frame& frame, float x, int limit) {
        for (int i = 0; i < limit; ++i) {
            const auto at = look(frame);
            if (at && std::abs(at->x - x) < 60) {
                return i;
            }
        }
        return limit;
    }

    Portrait portrait;
    FaceAnalyzer analyzer = FaceAnalyzer::create(VELMARO_MODELS_DIR).value();
    Frame nobody{1280, 720};
};

TEST_F(Following, AFarFaceIsFoundOnAPartInTimeAndThenInEveryPicture) {
    const Frame frame = portrait.frame(1280, 720, 900, 250, 45);
    ASSERT_LT(picturesUntilAt(frame, 900, 60), 60);
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(look(frame)) << i;
    }
}

TEST_F(Following, AFaceThatIsFollowedCostsOneLookOfEachNetwork) {
    const Frame frame = portrait.frame(1280, 720, 640, 340, 90);
    ASSERT_TRUE(look(frame));
    int looks = 0;
    for (int i = 0; i < 24; ++i) {
        ASSERT_TRUE(look(frame));
        looks += analyzer.looks();
    }
    EXPECT_EQ(looks, 24 * 2 + 2) << "and the whole picture twice";
}

TEST_F(Following, NobodyCostsTwoLooksAfterTheFirstPicture) {
    EXPECT_FALSE(look(nobody));
    for (int i = 0; i < 40; ++i) {
        EXPECT_FALSE(look(nobody));
        EXPECT_EQ(analyzer.looks(), 2) << i;
    }
}

TEST_F(Following, WhoHasGoneIsNotReportedAndIsFoundAgainElsewhere) {
    ASSERT_TRUE(look(portrait.frame(1280, 720, 400, 340, 120)));
    EXPECT_FALSE(look(nobody));
    EXPECT_EQ(picturesUntilAt(portrait.frame(1280, 720, 900, 300, 200), 900, 1), 0);
}

TEST_F(Following, OfTwoAlikeTheFirstStays) {
    Frame frame(1280, 720);
    portrait.paint(frame, 60, 100, 0.9);
    portrait.paint(frame, 700, 100, 0.9);
    const auto first = look(frame);
    ASSERT_TRUE(first);
    for (int i = 0; i < 40; ++i) {
        const auto again = look(frame);
        ASSERT_TRUE(again);
        EXPECT_NEAR(again->x, first->x, 5) << i;
    }
}

TEST_F(Following, ASurerNewcomerWinsWithinHalfASecond) {
    Frame frame = portrait.frame(1280, 720, 200, 300, 80);
    ASSERT_LT(picturesUntilAt(frame, 200, 60), 60);
    portrait.paint(frame, 700, 100, 0.9);
    EXPECT_LT(picturesUntilAt(frame, 700 + static_cast<float>(0.9 * Portrait::kFaceX), 16), 15);
}

TEST_F(Following, AFaceThatMovesFastIsStillTheFirst) {
    for (int i = 0; i < 12; ++i) {
        const float x = 200 + 80 * static_cast<float>(i);
        const auto at = look(portrait.frame(1280, 720, x, 340, 160));
        ASSERT_TRUE(at) << i;
        EXPECT_NEAR(at->x, x, 20) << i;
    }
}

TEST_F(Following, ForgettingGivesWhatTheFirstPictureGave) {
    const Frame frame = portrait.frame(1280, 720, 640, 340, 250);
    const Frame moved = portrait.frame(1280, 720, 655, 348, 243);
    const double first = analyzer.analyze(view(frame)).front().pose.yaw;
    ASSERT_TRUE(look(moved));
    const double followed = analyzer.analyze(view(frame)).front().pose.yaw;
    analyzer.forget();
    EXPECT_EQ(analyzer.analyze(view(frame)).front().pose.yaw, first);
    EXPECT_NE(followed, first) << "the square is still moving";
}

TEST_F(Following, AFaceInTheDarkIsFoundAndTurnedAsInTheLight) {
    Frame frame = portrait.frame(1280, 720, 640, 340, 250);
    const double lit = analyzer.analyze(view(frame)).front().pose.yaw;
    for (int y = 0; y < 720; ++y) {
        for (int x = 0; x < 4 * 1280; ++x) {
            std::uint8_t& value = frame.pixel(0, y)[x];
            value = static_cast<std::uint8_t>(0.04 * value);
        }
    }
    analyzer.forget();
    const std::span<const Face> faces = analyzer.analyze(view(frame));
    ASSERT_FALSE(faces.empty());
    EXPECT_NEAR(faces.front().pose.yaw, lit, 2.0 / 57.3);
}

TEST(StraightenedYaw, IsOddSmallNearAndEndsAtAQuarterTurn) {
    constexpr double kDegree = 3.14159265358979 / 180;
    EXPECT_EQ(facemesh::straightenedYaw(0), 0);
    EXPECT_NEAR(facemesh::straightenedYaw(20 * kDegree), 19.93 * kDegree, 0.01 * kDegree);
    EXPECT_NEAR(facemesh::straightenedYaw(-55 * kDegree), -65.55 * kDegree, 0.01 * kDegree);
    EXPECT_NEAR(facemesh::straightenedYaw(80 * kDegree), 90 * kDegree, 0.01 * kDegree);
}

}  // namespace
}  // namespace velmaro::testing
