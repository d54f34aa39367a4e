#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

#include "backends/facemesh/FaceMesh.h"
#include "backends/facemesh/Testing.h"

namespace velmaro::testing {
namespace {

constexpr double kDegree = std::numbers::pi / 180;

struct Placing {
    double x;
    double y;
    double side;
};

class PortraitAnywhere : public ::testing::TestWithParam<Placing> {};

TEST_P(PortraitAnywhere, IsFoundWhereItIs) {
    const auto [x, y, side] = GetParam();
    const auto faces = FaceFinder().find(Portrait().frame(1280, 720, x, y, side));
    ASSERT_EQ(faces.size(), 1U);
    const Rectangle& box = faces[0].box;
    const double tolerance = 0.06 * side + 1;
    EXPECT_NEAR((box.x + box.width / 2) * 1280, x, tolerance);
    EXPECT_NEAR((1 - box.y - box.height / 2) * 720, y, tolerance);
    EXPECT_NEAR(box.width * 1280, side, 2 * tolerance);
    EXPECT_NEAR(box.width * 1280, box.height * 720, 1e-6) << "a square in pixels";
    EXPECT_NEAR(faces[0].yaw, 1.3 * kDegree, 4 * kDegree);
}

INSTANTIATE_TEST_SUITE_P(PlacesAndSizes, PortraitAnywhere,
                         ::testing::Values(Placing{640, 340, 250}, Placing{250, 400, 250},
                                           Placing{1030, 250, 220}, Placing{640, 360, 420},
                                           Placing{500, 500, 180},
                                           // Too small for one look at the whole picture.
                                           Placing{640, 300, 75}, Placing{200, 500, 75},
                                           Placing{1100, 200, 75}));

TEST(FaceMesh, ReportsRegionsInTheBoxWithTheOriginAtItsLowerLeft) {
    const auto faces = FaceFinder().find(Portrait().frame(1280, 720, 640, 340, 250));
    ASSERT_EQ(faces.size(), 1U);
    EXPECT_EQ(faces[0].noseCrest.size(), 6U);
    EXPECT_EQ(faces[0].leftEye.size(), 16U);
    EXPECT_EQ(faces[0].rightEye.size(), 16U);
    const Point left = mean(faces[0].leftEye);
    const Point right = mean(faces[0].rightEye);
    const Point tip = faces[0].noseCrest[3];
    EXPECT_LT(left.x, right.x);
    EXPECT_LT(tip.y, (left.y + right.y) / 2) << "the nose is below the eyes";
    EXPECT_GT(tip.x, left.x);
    EXPECT_LT(tip.x, right.x);
    EXPECT_GT(faces[0].noseCrest[0].y, tip.y) << "the bridge is above the tip";
    EXPECT_NEAR(left.y, 0.65, 0.15);
    EXPECT_NEAR(right.x - left.x, 0.45, 0.12);
}

TEST(FaceMesh, AMirroredFaceTurnsTheOtherWay) {
    FaceFinder finder;
    const Frame frame = Portrait().frame(640, 480, 320, 240, 220);
    Frame mirrored(640, 480);
    for (int y = 0; y < 480; ++y) {
        for (int x = 0; x < 640; ++x) {
            const std::uint8_t* from = const_cast<Frame&>(frame).pixel(639 - x, y);
            std::copy(from, from + 4, mirrored.pixel(x, y));
        }
    }
    const auto faces = finder.find(frame);
    const auto turned = finder.find(mirrored);
    ASSERT_EQ(faces.size(), 1U);
    ASSERT_EQ(turned.size(), 1U);
    EXPECT_NEAR(faces[0].yaw, -turned[0].yaw, 2 * kDegree);
}

TEST(FaceMesh, NobodyGivesAnEmptyList) {
    FaceFinder finder;
    EXPECT_TRUE(finder.find(Frame(1280, 720)).empty());
    EXPECT_TRUE(finder.find(Frame(1280, 720, 0)).empty());
    EXPECT_TRUE(finder.find(Frame(480, 640, 255)).empty());
    Frame noise(640, 480);
    unsigned state = 1;
    for (int y = 0; y < 480; ++y) {
        std::generate_n(noise.pixel(0, y), 4 * 640, [&state] {
            state = state * 1664525U + 1013904223U;
            return static_cast<std::uint8_t>(state >> 24);
        });
    }
    EXPECT_TRUE(finder.find(std::move(noise)).empty());
}

TEST(FaceMesh, KeepsNothingOfPicturesOfAnotherSize) {
    FaceFinder finder;
    const Portrait portrait;
    const auto first = finder.find(portrait.frame(1280, 720, 640, 340, 250));
    finder.find(portrait.frame(640, 480, 200, 200, 120));
    finder.find(Frame(1280, 720));
    const auto again = finder.find(portrait.frame(1280, 720, 640, 340, 250));
    ASSERT_EQ(first.size(), 1U);
    ASSERT_EQ(again.size(), 1U);
    EXPECT_EQ(first[0].yaw, again[0].yaw);
    EXPECT_EQ(first[0].box.x, again[0].box.x);
    EXPECT_EQ(first[0].noseCrest[3].y, again[0].noseCrest[3].y);
}

TEST(FaceMesh, AnotherRunOfTheSourceStartsAnew) {
    FaceFinder finder;
    // Followed, the face is reported alone; a look at the whole picture finds both.
    Frame both(1280, 720);
    Portrait().paint(both, 30, 60, 1);
    Portrait().paint(both, 700, 60, 1.1);
    both.setRun(7);
    EXPECT_EQ(finder.find(both).size(), 2U);
    EXPECT_EQ(finder.find(both).size(), 1U);
    both.setRun(8);
    EXPECT_EQ(finder.find(both).size(), 2U);
}

TEST(FaceMesh, FindsSeveralFaces) {
    const Portrait portrait;
    Frame frame(1280, 720);
    portrait.paint(frame, 30, 60, 1);
    portrait.paint(frame, 700, 60, 1.1);
    const auto faces = FaceFinder().find(std::move(frame));
    ASSERT_EQ(faces.size(), 2U);
    EXPECT_GT(std::abs(faces[0].box.x - faces[1].box.x), 0.4);
}

TEST(FaceMesh, LongerRowsChangeNothing) {
    FaceFinder finder;
    const Portrait portrait;
    Frame plain(512, 600);
    Frame padded(512, 600, 90, 52);
    portrait.paint(plain, 0, 0, 1);
    portrait.paint(padded, 0, 0, 1);
    const auto faces = finder.find(std::move(plain));
    const auto same = finder.find(std::move(padded));
    ASSERT_EQ(faces.size(), 1U);
    ASSERT_EQ(same.size(), 1U);
    EXPECT_EQ(faces[0].yaw, same[0].yaw);
    EXPECT_EQ(faces[0].box.y, same[0].box.y);
}

TEST(FaceMesh, AFaceOnTheBorderMayReachBeyondThePicture) {
    const auto faces = FaceFinder().find(Portrait().frame(640, 480, 70, 230, 260));
    ASSERT_EQ(faces.size(), 1U);
    EXPECT_LT(faces[0].box.x, 0);
}

TEST(FaceMesh, AFarFaceIsFoundAllOverAHighPictureToo) {
    FaceFinder finder;
    const Portrait portrait;
    for (const double y : {150.0, 640.0, 1130.0}) {
        SCOPED_TRACE(y);
        const auto faces = finder.find(portrait.frame(720, 1280, 400, y, 75));
        ASSERT_EQ(faces.size(), 1U);
        EXPECT_NEAR((1 - faces[0].box.y - faces[0].box.height / 2) * 1280, y, 6);
    }
}

TEST(FaceMesh, TakesPicturesOfAnySize) {
    FaceFinder finder;
    for (const auto& [width, height] : {std::pair{1, 1},
                                        {7, 3},
                                        {3, 7},
                                        {4000, 50},
                                        {50, 4000},
                                        {127, 129},
                                        {1, 500},
                                        {33000, 2}}) {
        SCOPED_TRACE(::testing::Message() << width << " x " << height);
        EXPECT_TRUE(finder.find(Frame(width, height)).empty());
    }
}

TEST(FaceMesh, LooksAtWhatTheSourceGaveAndAsksForNoConversion) {
    /// The same picture with its bytes in another order, of which BGRA must not be asked.
    class Reordered final : public PixelBuffer {
    public:
        explicit Reordered(Frame bgra) : bgra_(std::move(bgra)), view_(bgra_.view()) {
            for (int y = 0; y < bgra_.height(); ++y) {
                for (int x = 0; x < bgra_.width(); ++x) {
                    std::swap(bgra_.pixel(x, y)[0], bgra_.pixel(x, y)[2]);
                }
            }
            std::swap(view_.components[0], view_.components[2]);
        }
        [[nodiscard]] int width() const override { return bgra_.width(); }
        [[nodiscard]] int height() const override { return bgra_.height(); }
        [[nodiscard]] std::ptrdiff_t bytesPerRow() const override { return bgra_.bytesPerRow(); }
        [[nodiscard]] const std::byte* baseAddress() const override {
            ADD_FAILURE() << "converted";
            return nullptr;
        }
        [[nodiscard]] ImageView view() const override { return view_; }

    private:
        Frame bgra_;
        ImageView view_;
    };
    const Frame frame = Portrait().frame(640, 480, 320, 240, 220);
    const auto expected = FaceFinder().find(frame);
    ASSERT_EQ(expected.size(), 1U);
    std::optional<double> yaw;
    EXPECT_TRUE(FaceFinder().mesh().perform(
        std::make_shared<const Reordered>(frame),
        [&](const FaceLandmarks::Results& results, const std::optional<Error>&) {
            ASSERT_EQ(results->size(), 1U);
            yaw = results->front().yaw;
        }));
    EXPECT_EQ(yaw, expected[0].yaw);
}

TEST(FaceMesh, RefusesWhatIsNoPicture) {
    class Unusable final : public PixelBuffer {
    public:
        Unusable(int width, int height, std::ptrdiff_t bytesPerRow, bool memory)
            : width_(width), height_(height), bytesPerRow_(bytesPerRow), memory_(memory) {}
        [[nodiscard]] int width() const override { return width_; }
        [[nodiscard]] int height() const override { return height_; }
        [[nodiscard]] std::ptrdiff_t bytesPerRow() const override { return bytesPerRow_; }
        [[nodiscard]] const std::byte* baseAddress() const override {
            return memory_ ? &byte_ : nullptr;
        }

    private:
        int width_;
        int height_;
        std::ptrdiff_t bytesPerRow_;
        bool memory_;
        std::byte byte_ = {};
    };
    Telemetry telemetry;
    FaceFinder finder(&telemetry);
    const FaceLandmarks::Completion never = [](const FaceLandmarks::Results&,
                                               const std::optional<Error>&) { ADD_FAILURE(); };
    EXPECT_FALSE(finder.mesh().perform(nullptr, never));
    for (const Unusable& image :
         {Unusable(0, 5, 0, true), Unusable(5, 0, 20, true), Unusable(-5, 5, 20, true),
          Unusable(5, 5, 19, true), Unusable(5, 5, -20, true), Unusable(5, 5, 20, false)}) {
        EXPECT_FALSE(finder.mesh().perform(std::make_shared<const Unusable>(image), never));
    }
    EXPECT_EQ(telemetry.framesAnalysed, 0U);
}

TEST(FaceMesh, CountsWhatItAnalysed) {
    Telemetry telemetry;
    FaceFinder finder(&telemetry);
    finder.find(Frame(64, 64));
    finder.find(Frame(64, 64));
    EXPECT_EQ(telemetry.framesAnalysed, 2U);
    EXPECT_EQ(telemetry.framesWithFace, 0U);
    const std::uint64_t runs = telemetry.networkRuns;
    EXPECT_GE(runs, 2U);
    finder.find(Portrait().frame(640, 480, 320, 240, 220));
    EXPECT_EQ(telemetry.framesWithFace, 1U);
    EXPECT_EQ(telemetry.networkRuns, runs + 4) << "a new face is looked at again";
}

TEST(FaceMesh, WithoutModelsSaysHowToGetThem) {
    auto created = FaceMesh::create("/nonexistent/models", nullptr);
    ASSERT_FALSE(created);
    EXPECT_THAT(created.error().description, ::testing::HasSubstr("tools/fetch-models"));
    EXPECT_THAT(created.error().description, ::testing::HasSubstr("./run"));
    EXPECT_THAT(created.error().description, ::testing::HasSubstr("/nonexistent/models/"));
}

}  // namespace
}  // namespace velmaro::testing
