#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/PixelBuffer.h"

namespace velmaro {
namespace {

struct Sharing {
    int columnShift;
    int rowShift;
};

/// A picture of which no two values are alike, the second and third component of which may stand
/// for several columns and rows.
class Picture {
public:
    Picture(int width, int height, Sharing sharing) {
        view.width = width;
        view.height = height;
        for (std::size_t i = 0; i < 3; ++i) {
            const auto [columnShift, rowShift] = i == 0 ? Sharing{0, 0} : sharing;
            const int columns = (width + (1 << columnShift) - 1) >> columnShift;
            const int rows = (height + (1 << rowShift) - 1) >> rowShift;
            const int rowStep = columns + 3;
            planes_[i].resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(rowStep));
            std::iota(planes_[i].begin(), planes_[i].end(), static_cast<std::uint8_t>(80 * i));
            view.components[i] = {planes_[i].data(), 1, rowStep, columnShift, rowShift};
        }
    }

    ImageView view;

private:
    std::array<std::vector<std::uint8_t>, 3> planes_;
};

using Place = std::pair<int, int>;

/// Where the pixel (x, y) of a turned picture of that size was before, one turn after the other.
Place before(Place at, const ImageView& turned, CameraOrientation orientation) {
    auto [x, y] = at;
    int width = turned.width;
    int height = turned.height;
    if (orientation.mirrored) {
        x = width - 1 - x;
    }
    for (int degrees = 0; degrees < orientation.rotation; degrees += 90) {
        // A quarter turn clockwise brings the lower left corner to the upper left.
        std::tie(x, y) = Place{y, width - 1 - x};
        std::swap(width, height);
    }
    return {x, y};
}

class AnyOrientation : public testing::TestWithParam<std::tuple<int, bool>> {
protected:
    [[nodiscard]] static CameraOrientation orientation() {
        return {std::get<0>(GetParam()), std::get<1>(GetParam())};
    }
};

TEST_P(AnyOrientation, ShowsEachPixelWhereItBelongs) {
    const bool exchanges = orientation().rotation % 180 == 90;
    for (const Sharing sharing : {Sharing{0, 0}, {1, 0}, {1, 1}}) {
        for (const auto& [width, height] : {Place{6, 4}, {7, 5}, {1, 1}, {1, 6}}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height << ", shared by 1 << "
                                            << sharing.columnShift << ", " << sharing.rowShift);
            const Picture picture(width, height, sharing);
            const ImageView turned = picture.view.turned(orientation());
            const bool isShared = sharing.columnShift + sharing.rowShift > 0;
            EXPECT_NEAR(turned.width, exchanges ? height : width, isShared ? 1 : 0);
            EXPECT_NEAR(turned.height, exchanges ? width : height, isShared ? 1 : 0);
            for (int y = 0; y < turned.height; ++y) {
                for (int x = 0; x < turned.width; ++x) {
                    const auto [column, row] = before({x, y}, turned, orientation());
                    for (std::size_t i = 0; i < 3; ++i) {
                        ASSERT_EQ(turned.components[i].at(x, y),
                                  picture.view.components[i].at(column, row))
                            << x << ", " << y << ": " << i;
                    }
                }
            }
        }
    }
}

TEST_P(AnyOrientation, LosesNothingWhereNoColumnsOrRowsShareAColour) {
    const Picture picture(7, 5, {0, 0});
    const ImageView turned = picture.view.turned(orientation());
    EXPECT_EQ(turned.width * turned.height, 35);
}

INSTANTIATE_TEST_SUITE_P(Orientations, AnyOrientation,
                         testing::Combine(testing::Values(0, 90, 180, 270), testing::Bool()));

TEST(ImageView, LiesOnItsSideAfterAQuarterTurn) {
    const Picture picture(6, 4, {1, 1});
    EXPECT_FALSE(picture.view.liesOnItsSide());
    EXPECT_FALSE(picture.view.turned({180, true}).liesOnItsSide());
    EXPECT_TRUE(picture.view.turned({90, false}).liesOnItsSide());
    EXPECT_TRUE(picture.view.turned({270, true}).liesOnItsSide());
    EXPECT_FALSE(picture.view.turned({270, true}).transposed().liesOnItsSide());
}

}  // namespace
}  // namespace velmaro
