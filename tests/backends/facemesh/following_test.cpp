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
        const std::span<const Face> faces = analyzer.analyze(frame.view());
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

TEST_F(Following, ANearFaceCostsNoMoreWhileOthersAreLookedFor) {
    const Frame frame = portrait.frame(1280, 720, 640, 340, 250);
    int looks = 0;
    for (int i = 0; i < 49; ++i) {
        ASSERT_TRUE(look(frame));
        looks += analyzer.looks();
    }
    EXPECT_EQ(looks, 49 * 2 + 3) << "once as a new face, and once the whole picture";
}

/// The whole picture, its squares, then its fifteen tiles four at a time.
TEST_F(Following, NobodyCostsTwoLooksAfterEachPartWasSearched) {
    for (const int expected : {4, 5, 5, 5, 4}) {
        EXPECT_FALSE(look(nobody));
        EXPECT_EQ(analyzer.looks(), expected);
    }
    for (int i = 0; i < 40; ++i) {
        EXPECT_FALSE(look(nobody));
        EXPECT_EQ(analyzer.looks(), 2) << i;
    }
}

TEST_F(Following, AfterForgettingNobodyIsSoughtWhereOneWas) {
    ASSERT_LT(picturesUntilAt(portrait.frame(1280, 720, 900, 250, 45), 900, 60), 60);
    EXPECT_FALSE(look(nobody));
    analyzer.forget();
    for (const int expected : {4, 5, 5, 5, 4, 2, 2}) {
        EXPECT_FALSE(look(nobody));
        EXPECT_EQ(analyzer.looks(), expected);
    }
}

TEST_F(Following, AFarFaceIsFoundInAnyPlaceWithinSixPictures) {
    for (const double y : {80, 250, 420, 600}) {
        for (const double x : {100, 350, 640, 930, 1180}) {
            analyzer.forget();
            EXPECT_LT(
                picturesUntilAt(portrait.frame(1280, 720, x, y, 45), static_cast<float>(x), 7), 6)
                << x << " " << y;
        }
    }
}

TEST_F(Following, AFarFaceThatWalksAndComesNearStaysFoundAtOneLookEach) {
    ASSERT_LT(picturesUntilAt(portrait.frame(1280, 720, 300, 330, 45), 300, 60), 60);
    int looks = 0;
    double x = 300;
    double side = 45;
    for (int i = 0; i < 40; ++i) {
        x += 12;
        side *= i < 20 ? 1 : 1.06;
        const auto at = look(portrait.frame(1280, 720, x, 330, side));
        ASSERT_TRUE(at) << i;
        EXPECT_NEAR(at->x, x, 0.2 * side) << i;
        looks += analyzer.looks();
    }
    EXPECT_LE(looks, 40 * 2 + 5);
}

TEST_F(Following, AFarFaceThatComesNearAtItsPlaceStaysFoundAtOneLookEach) {
    ASSERT_LT(picturesUntilAt(portrait.frame(1280, 720, 900, 330, 45), 900, 60), 60);
    int looks = 0;
    double side = 45;
    for (int i = 0; i < 28; ++i) {
        side *= 1.07;
        ASSERT_TRUE(look(portrait.frame(1280, 720, 900, 330, side))) << i;
        looks += analyzer.looks();
    }
    EXPECT_LE(looks, 28 * 2 + 4);
}

TEST_F(Following, AFaceThatGoesAwayAtItsPlaceStaysFoundAtOneLookEach) {
    double side = 250;
    ASSERT_TRUE(look(portrait.frame(1280, 720, 640, 340, side)));
    int looks = 0;
    for (int i = 0; i < 26; ++i) {
        side *= 0.93;
        ASSERT_TRUE(look(portrait.frame(1280, 720, 640, 340, side))) << i;
        looks += analyzer.looks();
    }
    EXPECT_LE(looks, 26 * 2 + 4);
}

TEST_F(Following, WhoIsSurerForTwoPicturesOnlyDoesNotWin) {
    const Frame alone = portrait.frame(1280, 720, 200, 300, 80);
    Frame both = alone;
    portrait.paint(both, 700, 100, 0.9);
    // Whichever of the twelve pictures the look at the whole one falls on.
    for (int before = 0; before < 12; ++before) {
        analyzer.forget();
        for (int i = 0; i < before + 20; ++i) {
            const auto at = look(i == before + 1 || i == before + 2 ? both : alone);
            ASSERT_TRUE(at) << before << " " << i;
            EXPECT_NEAR(at->x, 200, 20) << before << " " << i;
        }
    }
}

/// How sure the detector is of the best face near x in the whole picture.
float sureness(FaceAnalyzer& analyzer, const Frame& frame, float x) {
    for (const auto& face : analyzer.detector().detect(frame.view(), {0, 0, 1280, 720})) {
        if (std::abs(face.centre.x - x) < 60) {
            return face.score;
        }
    }
    return 0;
}

TEST_F(Following, WhoIsHardlySurerDoesNotWin) {
    Frame alone = portrait.frame(1280, 720, 950, 330, 210);
    Frame both = portrait.frame(1280, 720, 300, 330, 200);
    for (int y = 0; y < 720; ++y) {
        std::copy_n(alone.pixel(700, y), 4 * 580, both.pixel(700, y));
    }
    const float more = sureness(analyzer, both, 300) - sureness(analyzer, both, 950);
    ASSERT_GT(more, 0);
    ASSERT_LT(more, 0.03F);
    ASSERT_TRUE(look(alone));
    EXPECT_EQ(picturesUntilAt(both, 300, 40), 40);
}

TEST_F(Following, ANearerNewcomerWinsOverWhoIsInTheWholePictureToo) {
    Frame frame = portrait.frame(1280, 720, 200, 300, 160);
    ASSERT_EQ(picturesUntilAt(frame, 200, 1), 0);
    const float x = 700 + static_cast<float>(0.9 * Portrait::kFaceX);
    portrait.paint(frame, 700, 100, 0.9);
    ASSERT_GT(sureness(analyzer, frame, 200), 0.5F);
    EXPECT_LT(picturesUntilAt(frame, x, 16), 15);
}

TEST_F(Following, AFastFaceIsWhereItIsAlsoWhenOthersAreLookedFor) {
    std::vector<Frame> frames;
    for (int place = 0; place <= 4; ++place) {
        frames.push_back(portrait.frame(1280, 720, 480 + 80 * place, 340, 180));
    }
    for (int i = 0; i < 60; ++i) {
        const int place = std::abs(i % 8 - 4);
        const auto at = look(frames[static_cast<std::size_t>(place)]);
        ASSERT_TRUE(at) << i;
        EXPECT_NEAR(at->x, 480 + 80 * place, 20) << i;
    }
}

TEST_F(Following, WhoHasGoneForAMomentIsFoundAgainAtTheSamePlace) {
    const Frame frame = portrait.frame(1280, 720, 1100, 600, 45);
    ASSERT_LT(picturesUntilAt(frame, 1100, 60), 60);
    for (const int gone : {8, 9, 10, 11}) {
        for (int i = 0; i < gone; ++i) {
            EXPECT_FALSE(look(nobody));
        }
        EXPECT_LT(picturesUntilAt(frame, 1100, 3), 2) << gone;
    }
}

TEST_F(Following, WhileOneIsSoughtAtItsPlaceTheOthersAreSearchedToo) {
    ASSERT_LT(picturesUntilAt(portrait.frame(1280, 720, 1100, 600, 45), 1100, 60), 60);
    for (int i = 0; i < 5; ++i) {
        EXPECT_FALSE(look(nobody));
    }
    EXPECT_LT(picturesUntilAt(portrait.frame(1280, 720, 640, 360, 45), 640, 20), 12);
}

TEST_F(Following, WhoHasGoneIsFoundAgainElsewhereInASquareAtOnce) {
    ASSERT_TRUE(look(portrait.frame(1280, 720, 300, 340, 120)));
    EXPECT_EQ(picturesUntilAt(portrait.frame(1280, 720, 1150, 300, 110), 1150, 1), 0);
}

/// Half a face in front of a plain wall: a small part of the picture shows many such things.
Frame halfHidden(const Portrait& portrait) {
    Frame frame = portrait.frame(1280, 720, 900, 250, 45);
    for (int y = 252; y < 295; ++y) {
        for (int x = 855; x < 945; ++x) {
            std::fill_n(frame.pixel(x, y), 3, std::uint8_t{60});
        }
    }
    return frame;
}

TEST_F(Following, WhatIsUnsureOnATileIsNobody) {
    const Frame frame = halfHidden(portrait);
    for (int i = 0; i < 60; ++i) {
        EXPECT_FALSE(look(frame)) << i;
    }
}

TEST_F(Following, AFaceThatIsFollowedMayBeLessSureThanANewOne) {
    const Frame frame = portrait.frame(1280, 720, 900, 250, 60);
    // In mist.
    Frame pale = frame;
    for (int y = 0; y < 720; ++y) {
        for (int x = 0; x < 4 * 1280; ++x) {
            std::uint8_t& value = pale.pixel(0, y)[x];
            value = static_cast<std::uint8_t>(90 + 0.04 * (value - 90));
        }
    }
    EXPECT_EQ(picturesUntilAt(pale, 900, 40), 40);
    ASSERT_LT(picturesUntilAt(frame, 900, 60), 60);
    for (int i = 0; i < 30; ++i) {
        EXPECT_TRUE(look(pale)) << i;
    }
    EXPECT_FALSE(look(nobody));
}

/// A drawn figure that one look takes for a face, and a closer one does not.
void draw(Frame& frame) {
    const auto disc = [&frame](float left, float top, float width, float height, int grey) {
        for (int y = 0; y < frame.height(); ++y) {
            for (int x = 0; x < frame.width(); ++x) {
                const float u = (static_cast<float>(x) - left) / width;
                const float v = (static_cast<float>(y) - top) / height;
                if (u * u + v * v < 1) {
                    std::fill_n(frame.pixel(x, y), 3, static_cast<std::uint8_t>(grey));
                }
            }
        }
    };
    disc(700, 360, 60, 96, 190);
    for (const float eye : {688.0F, 712.0F}) {
        disc(eye, 345, 21, 14.7F, 240);
        disc(eye, 345, 10.5F, 10.5F, 20);
        disc(eye, 327, 25.2F, 4.2F, 60);
    }
    disc(700, 369, 1.2F, 1.8F, 150);
    disc(700, 396, 30, 7.5F, 60);
}

/// That figure in front of a plain wall.
Frame figure() {
    Frame frame(1280, 720);
    for (int y = 0; y < 720; ++y) {
        std::fill_n(frame.pixel(0, y), 4 * 1280, std::uint8_t{110});
    }
    draw(frame);
    return frame;
}

TEST_F(Following, WhatLooksLikeAFaceInOneLookOnlyIsNobody) {
    const Frame frame = figure();
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(look(frame)) << i;
    }
}

TEST_F(Following, WhatLooksLikeAFaceInOneLookOnlyHidesNobodyWhoIsLessSure) {
    Frame frame = figure();
    portrait.paint(frame, 900 - 0.38 * Portrait::kFaceX, 500 - 0.38 * Portrait::kFaceY, 0.38);
    const auto found = analyzer.detector().detect(frame.view(), {280, 0, 720, 720});
    ASSERT_EQ(found.size(), 2U);
    ASSERT_NEAR(found[0].centre.x, 700, 20) << "the figure is the surer";
    EXPECT_EQ(picturesUntilAt(frame, 900, 1), 0);
}

TEST_F(Following, WhatIsNoFaceHidesNone) {
    // A head upside down looks like a face from afar, and from close by not.
    Frame head = portrait.frame(1280, 720, 900, 330, 200);
    Frame frame(1280, 720);
    for (int y = 0; y < 660; ++y) {
        std::copy_n(head.pixel(700, 660 - y), 4 * 400, frame.pixel(700, y));
    }
    EXPECT_FALSE(look(frame)) << "the far face is not there yet";
    EXPECT_GT(analyzer.looks(), 1) << "nothing looks like a face";
    portrait.paint(frame, 200 - 0.225 * Portrait::kFaceX, 200 - 0.225 * Portrait::kFaceY, 0.225);
    EXPECT_LT(picturesUntilAt(frame, 200, 60), 60);
}

TEST_F(Following, AFaceInTheDarkIsFoundAndTurnedAsInTheLight) {
    Frame frame = portrait.frame(1280, 720, 640, 340, 250);
    const double lit = analyzer.analyze(frame.view()).front().pose.yaw;
    for (int y = 0; y < 720; ++y) {
        for (int x = 0; x < 4 * 1280; ++x) {
            std::uint8_t& value = frame.pixel(0, y)[x];
            value = static_cast<std::uint8_t>(0.04 * value);
        }
    }
    analyzer.forget();
    const std::span<const Face> faces = analyzer.analyze(frame.view());
    ASSERT_FALSE(faces.empty());
    EXPECT_NEAR(faces.front().pose.yaw, lit, 2.0 / 57.3);
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
    const float x = 700 + static_cast<float>(0.9 * Portrait::kFaceX);
    EXPECT_LT(picturesUntilAt(frame, x, 16), 15);
    // From then on it is the one that is followed.
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(picturesUntilAt(frame, x, 1), 0) << i;
        EXPECT_EQ(analyzer.looks(), 2) << i;
    }
}

TEST_F(Following, AFaceThatMovesFastIsStillTheFirst) {
    for (int i = 0; i < 12; ++i) {
        const float x = 200 + 80 * static_cast<float>(i);
        const auto at = look(portrait.frame(1280, 720, x, 340, 160));
        ASSERT_TRUE(at) << i;
        EXPECT_NEAR(at->x, x, 20) << i;
    }
}

TEST_F(Following, ANewFaceThatIsUnsureIsLookedAtTwice) {
    ASSERT_TRUE(look(portrait.frame(1280, 720, 640, 340, 250)));
    EXPECT_EQ(analyzer.looks(), 4) << "a new face is looked at again";
    analyzer.forget();
    const Frame unsure = portrait.frame(1280, 720, 900, 250, 130);
    ASSERT_LT(sureness(analyzer, unsure, 900), 0.75F);
    ASSERT_TRUE(look(unsure));
    EXPECT_EQ(analyzer.looks(), 5);
}

TEST_F(Following, APictureOfAnotherSizeIsSearchedAnew) {
    for (const int width : {1280, 1290, 1280}) {
        Frame both(width, 720);
        portrait.paint(both, 30, 60, 1);
        portrait.paint(both, 700, 60, 1.1);
        EXPECT_EQ(analyzer.analyze(both.view()).size(), 2U) << width;
        EXPECT_EQ(analyzer.analyze(both.view()).size(), 1U) << width;
    }
}

TEST_F(Following, ForgettingGivesWhatTheFirstPictureGave) {
    const Frame frame = portrait.frame(1280, 720, 640, 340, 250);
    const Frame moved = portrait.frame(1280, 720, 655, 348, 243);
    const double first = analyzer.analyze(frame.view()).front().pose.yaw;
    const double second = analyzer.analyze(moved.view()).front().pose.yaw;
    const double followed = analyzer.analyze(frame.view()).front().pose.yaw;
    analyzer.forget();
    EXPECT_EQ(analyzer.analyze(frame.view()).front().pose.yaw, first);
    EXPECT_NE(followed, first) << "the square is still moving";
    EXPECT_EQ(analyzer.analyze(moved.view()).front().pose.yaw, second);
}

TEST_F(Following, TheYawIsStraightenedWhetherTheFaceIsNewOrFollowed) {
    const Frame frame = portrait.frame(1280, 720, 640, 340, 250);
    for (int i = 0; i < 2; ++i) {
        const Face& face = analyzer.analyze(frame.view()).front();
        const double yaw = analyzer.poseEstimator().estimate(face.points).yaw;
        EXPECT_EQ(face.pose.yaw, facemesh::straightenedYaw(yaw));
        EXPECT_NE(face.pose.yaw, yaw);
    }
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
