#include "backends/facemesh/Warp.h"

#include <cmath>
#include <random>

#include "Layouts.h"
#include "backends/facemesh/Testing.h"

namespace velmaro::testing {
namespace {

using facemesh::TurnedSquare;

Frame noise(int width, int height) {
    Frame frame(width, height, 0, 8);
    std::mt19937 random(3);
    for (int y = 0; y < height; ++y) {
        std::generate_n(frame.pixel(0, y), 4 * width,
                        [&random] { return static_cast<std::uint8_t>(random() >> 24); });
    }
    return frame;
}

double naive(const Frame& frame, double x, double y, int channel) {
    x = std::clamp(x - 0.5, 0.0, frame.width() - 1.0);
    y = std::clamp(y - 0.5, 0.0, frame.height() - 1.0);
    const int column = static_cast<int>(x);
    const int row = static_cast<int>(y);
    const auto at = [&](int dx, int dy) {
        return const_cast<Frame&>(frame).pixel(std::min(column + dx, frame.width() - 1),
                                               std::min(row + dy, frame.height() - 1))[2 - channel];
    };
    const double fx = x - column;
    const double fy = y - row;
    return ((at(0, 0) * (1 - fx) + at(1, 0) * fx) * (1 - fy) +
            (at(0, 1) * (1 - fx) + at(1, 1) * fx) * fy) /
           255;
}

class AnySquare : public ::testing::TestWithParam<TurnedSquare> {};

TEST_P(AnySquare, IsBilinear) {
    constexpr std::size_t cells = 40;
    const TurnedSquare& square = GetParam();
    const Frame frame = noise(90, 70);
    std::vector<float> out(cells * cells * 3, 99);
    facemesh::warp(frame.view(), square, cells, out);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const std::size_t row = i / 3 / cells;
        const double u = (static_cast<double>(i / 3 % cells) + 0.5) / cells - 0.5;
        const double v = (static_cast<double>(row) + 0.5) / cells - 0.5;
        const double x =
            square.centre.x + square.side * (square.across.x * u - square.across.y * v);
        const double y =
            square.centre.y + square.side * (square.across.y * u + square.across.x * v);
        ASSERT_NEAR(out[i], naive(frame, x, y, static_cast<int>(i % 3)), 2e-4) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Squares, AnySquare,
                         ::testing::Values(TurnedSquare{{45, 35}, 40, {1, 0}},
                                           TurnedSquare{{40.3F, 33.8F}, 31.7F, {1, 0}},
                                           TurnedSquare{{44, 36}, 35, {0.8F, 0.6F}},
                                           TurnedSquare{{44, 36}, 35, {-0.6F, -0.8F}},
                                           // Partly and wholly beyond the picture.
                                           TurnedSquare{{5, 60}, 50, {0.8F, -0.6F}},
                                           TurnedSquare{{45, 35}, 300, {0.96F, 0.28F}},
                                           TurnedSquare{{-500, 900}, 20, {1, 0}},
                                           TurnedSquare{{45, 35}, 70, {1, 0}}));

void expectBilinear(const LaidOut& picture, const TurnedSquare& square) {
    constexpr std::size_t cells = 70;
    const int width = picture.view.width;
    const int height = picture.view.height;
    std::vector<float> out(cells * cells * 3, 99);
    facemesh::warp(picture.view, square, cells, out);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const std::size_t row = i / 3 / cells;
        const double u = (static_cast<double>(i / 3 % cells) + 0.5) / cells - 0.5;
        const double v = (static_cast<double>(row) + 0.5) / cells - 0.5;
        const auto place = [&](double centre, double along, double across, int length) {
            return std::clamp(centre + square.side * (along * u + across * v) - 0.5, 0.0,
                              length - 1.0);
        };
        const double x = place(square.centre.x, square.across.x, -square.across.y, width);
        const double y = place(square.centre.y, square.across.y, square.across.x, height);
        const auto at = [&](int dx, int dy) {
            return picture.value(std::min(static_cast<int>(x) + dx, width - 1),
                                 std::min(static_cast<int>(y) + dy, height - 1),
                                 static_cast<int>(i % 3));
        };
        const double fx = x - std::floor(x);
        const double fy = y - std::floor(y);
        const double value = (at(0, 0) * (1 - fx) + at(1, 0) * fx) * (1 - fy) +
                             (at(0, 1) * (1 - fx) + at(1, 1) * fx) * fy;
        ASSERT_NEAR(out[i], std::clamp(value / 255, 0.0, 1.0), 3e-4)
            << width << " x " << height << ": number " << i;
    }
}

class AnyLayoutWarped : public ::testing::TestWithParam<Layout> {};

TEST_P(AnyLayoutWarped, IsBilinear) {
    for (const auto& [width, height, square] :
         {std::tuple{97, 71, TurnedSquare{{44, 36}, 35, {0.8F, 0.6F}}},
          {97, 71, TurnedSquare{{90, 64}, 40, {0.6F, -0.8F}}},
          {96, 70, TurnedSquare{{48, 35}, 120, {1, 0}}},
          {1, 1, TurnedSquare{{0.5F, 0.5F}, 3, {1, 0}}},
          {2, 3, TurnedSquare{{1, 1}, 3, {0.8F, 0.6F}}}}) {
        expectBilinear(LaidOut(GetParam(), width, height, 4), square);
    }
}

TEST_P(AnyLayoutWarped, IsTheSameHoweverTheCameraHangs) {
    for (const CameraOrientation& orientation : kOrientations) {
        SCOPED_TRACE(::testing::Message()
                     << orientation.rotation << (orientation.mirrored ? " m" : ""));
        for (const auto& [width, height] : {std::pair{96, 70}, {97, 71}, {2, 3}}) {
            LaidOut picture(GetParam(), width, height, 4);
            picture.turn(orientation);
            expectBilinear(picture, {{44, 36}, 35, {0.8F, 0.6F}});
            expectBilinear(picture, {{66, 60}, 90, {1, 0}});
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, AnyLayoutWarped, ::testing::ValuesIn(kLayouts));

TEST(Warp, OfAPictureOfOnePixel) {
    std::vector<float> out(std::size_t{12} * 12 * 3);
    facemesh::warp(Frame(1, 1, 51).view(), {{0.5F, 0.5F}, 3, {1, 0}}, 12, out);
    for (const float value : out) {
        EXPECT_FLOAT_EQ(value, 0.2F);
    }
}

TEST(TurnedSquare, ItsCornersFollowItsUpperEdge) {
    // A quarter turn: the upper edge points down in the picture.
    const TurnedSquare square = {{100, 50}, 20, {0, 1}};
    EXPECT_FLOAT_EQ(square.toImage(0, 0).x, 110);
    EXPECT_FLOAT_EQ(square.toImage(0, 0).y, 40);
    EXPECT_FLOAT_EQ(square.toImage(1, 0).x, 110);
    EXPECT_FLOAT_EQ(square.toImage(1, 0).y, 60);
}

}  // namespace
}  // namespace velmaro::testing
