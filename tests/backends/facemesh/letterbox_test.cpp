#include "backends/facemesh/Letterbox.h"

#include <algorithm>
#include <random>

#include "Layouts.h"
#include "backends/facemesh/Testing.h"

namespace velmaro::testing {
namespace {

using facemesh::Region;

struct Case {
    int width;
    int height;
    Region region;
};

Frame noise(int width, int height, int extraBytesPerRow) {
    Frame frame(width, height, 0, extraBytesPerRow);
    std::mt19937 random(7);
    for (int y = 0; y < height; ++y) {
        std::generate_n(frame.pixel(0, y), 4 * width,
                        [&random] { return static_cast<std::uint8_t>(random() >> 24); });
    }
    return frame;
}

/// The share of [from, to) that lies in pixel i.
double share(double from, double to, int i) {
    return std::max(0.0, std::min(to, i + 1.0) - std::max(from, static_cast<double>(i)));
}

/// The definition, one cell at a time.
double naive(const Frame& frame, const Region& region, int side, int column, int row, int channel) {
    const double pixels = static_cast<double>(std::max(region.width, region.height)) / side;
    const double x = (region.width - side * pixels) / 2 + column * pixels;
    const double y = (region.height - side * pixels) / 2 + row * pixels;
    double sum = 0;
    for (int v = std::max(0, static_cast<int>(y) - 1); v < region.height && v <= y + pixels; ++v) {
        for (int u = std::max(0, static_cast<int>(x) - 1); u < region.width && u <= x + pixels;
             ++u) {
            sum += share(x, x + pixels, u) * share(y, y + pixels, v) *
                   const_cast<Frame&>(frame).pixel(region.x + u, region.y + v)[2 - channel];
        }
    }
    return sum / (pixels * pixels) * 2 / 255 - 1;
}

class AnyPicture : public ::testing::TestWithParam<Case> {};

TEST_P(AnyPicture, IsTheMeanOfTheAreaOfEachCell) {
    constexpr int side = 32;
    const Case& parameter = GetParam();
    const Frame frame = noise(parameter.width, parameter.height, 12);
    facemesh::Letterbox letterbox(side);
    std::vector<float> square(std::size_t{3} * side * side, 99);
    const auto placement = letterbox.fill(frame.view(), parameter.region, square);
    const Region& region = parameter.region;
    EXPECT_NEAR(placement.pixelsPerCell * side, std::max(region.width, region.height), 1e-9);
    EXPECT_NEAR(placement.originX + placement.pixelsPerCell * side / 2,
                region.x + region.width / 2.0, 1e-9);
    EXPECT_NEAR(placement.originY + placement.pixelsPerCell * side / 2,
                region.y + region.height / 2.0, 1e-9);
    for (int i = 0; i < 3 * side * side; ++i) {
        const int column = i / 3 % side;
        const int row = i / 3 / side;
        ASSERT_NEAR(square[static_cast<std::size_t>(i)],
                    naive(frame, region, side, column, row, i % 3), 2e-5)
            << "column " << column << " row " << row << " channel " << i % 3;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, AnyPicture,
    ::testing::Values(Case{320, 180, {0, 0, 320, 180}}, Case{64, 64, {0, 0, 64, 64}},
                      Case{97, 53, {0, 0, 97, 53}}, Case{53, 97, {0, 0, 53, 97}},
                      Case{320, 180, {70, 0, 180, 180}}, Case{100, 80, {13, 7, 61, 50}},
                      Case{20, 11, {0, 0, 20, 11}}, Case{1, 1, {0, 0, 1, 1}},
                      Case{7, 3, {0, 0, 7, 3}}, Case{500, 3, {0, 0, 500, 3}},
                      // More rows a cell than a 16-bit sum can take.
                      Case{4, 9000, {0, 0, 4, 9000}}));

void expectMeans(const LaidOut& picture, const Region& region) {
    constexpr int side = 16;
    facemesh::Letterbox letterbox(side);
    std::vector<float> square(std::size_t{3} * side * side, 99);
    const auto placement = letterbox.fill(picture.view, region, square);
    const double pixels = placement.pixelsPerCell;
    EXPECT_NEAR(pixels * side, std::max(region.width, region.height), 1e-9);
    EXPECT_NEAR(placement.originX + pixels * side / 2, region.x + region.width / 2.0, 1e-9);
    EXPECT_NEAR(placement.originY + pixels * side / 2, region.y + region.height / 2.0, 1e-9);
    for (int i = 0; i < 3 * side * side; ++i) {
        const int row = i / 3 / side;
        const double left = placement.originX + i / 3 % side * pixels;
        const double top = placement.originY + row * pixels;
        double sum = 0;
        // Nothing else has a share.
        const int firstRow = std::max(region.y, static_cast<int>(top) - 1);
        const int firstColumn = std::max(region.x, static_cast<int>(left) - 1);
        for (int y = firstRow; y < region.y + region.height && y <= top + pixels; ++y) {
            for (int x = firstColumn; x < region.x + region.width && x <= left + pixels; ++x) {
                sum += share(left, left + pixels, x) * share(top, top + pixels, y) *
                       picture.value(x, y, i % 3);
            }
        }
        const double expected = sum / (pixels * pixels) * 2 / 255 - 1;
        ASSERT_NEAR(square[static_cast<std::size_t>(i)], std::clamp(expected, -1.0, 1.0), 5e-5)
            << picture.view.width << " x " << picture.view.height << ": number " << i;
    }
}

class AnyLayout : public ::testing::TestWithParam<Layout> {};

TEST_P(AnyLayout, IsTheMeanOfTheAreaOfEachCell) {
    for (const Case& each :
         {Case{96, 54, {0, 0, 96, 54}}, Case{97, 53, {0, 0, 97, 53}}, Case{53, 97, {0, 0, 53, 97}},
          Case{97, 53, {13, 7, 61, 40}}, Case{97, 53, {58, 14, 39, 39}}, Case{9, 5, {0, 0, 9, 5}},
          Case{1, 1, {0, 0, 1, 1}}}) {
        expectMeans(LaidOut(GetParam(), each.width, each.height, 12), each.region);
    }
}

TEST_P(AnyLayout, IsTheSameHoweverTheCameraHangs) {
    for (const CameraOrientation& orientation : kOrientations) {
        SCOPED_TRACE(::testing::Message()
                     << orientation.rotation << (orientation.mirrored ? " m" : ""));
        for (const auto& [width, height] : {std::pair{96, 54}, {97, 53}}) {
            LaidOut picture(GetParam(), width, height, 12);
            picture.turn(orientation);
            expectMeans(picture, {0, 0, picture.view.width, picture.view.height});
            expectMeans(picture, {13, 7, 31, 40});
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Layouts, AnyLayout, ::testing::ValuesIn(kLayouts));

TEST(Letterbox, BrightestIsOneAndDarkestAndOutsideMinusOne) {
    facemesh::Letterbox letterbox(16);
    std::vector<float> square(std::size_t{16} * 16 * 3);
    const auto red = [&square](std::size_t row, std::size_t column) {
        return square[3 * (row * 16 + column)];
    };
    letterbox.fill(Frame(64, 32, 255).view(), {0, 0, 64, 32}, square);
    EXPECT_FLOAT_EQ(red(8, 8), 1);
    EXPECT_FLOAT_EQ(red(2, 8), -1);
    letterbox.fill(Frame(64, 32, 0).view(), {0, 0, 64, 32}, square);
    EXPECT_FLOAT_EQ(red(8, 8), -1);
}

}  // namespace
}  // namespace velmaro::testing
