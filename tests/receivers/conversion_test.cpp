#include "receivers/Conversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "Field.h"

namespace velmaro {
namespace {

using testing::ElementsAre;
using tests::heardField;
using tests::radians;

std::vector<float> converted(std::array<float, 3> angles, const Conversion& conversion) {
    const ConvertedValues values = convert(angles, conversion);
    return {values.span().begin(), values.span().end()};
}

TEST(Conversion, KeepsEveryBitOfWhatItDoesNotChange) {
    const std::array<float, 3> angles{-0.0F, std::numeric_limits<float>::denorm_min(),
                                      std::bit_cast<float>(0x7FC12345U)};
    const ConvertedValues values = convert(angles, {});
    ASSERT_EQ(values.count, 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(std::bit_cast<std::uint32_t>(values.numbers[i]),
                  std::bit_cast<std::uint32_t>(angles[i]));
    }
}

TEST(Conversion, FlipsTheAxesThatItIsTold) {
    EXPECT_THAT(converted({10, -5, 3}, {.flipped = {true, false, false}}), ElementsAre(-10, -5, 3));
    EXPECT_THAT(converted({10, -5, 3}, {.flipped = {false, true, true}}), ElementsAre(10, 5, -3));
}

TEST(Conversion, AFlipTwiceIsNone) {
    Conversion conversion{.flipped = {true, false, false}};
    conversion.flip(Axis::pan);
    conversion.flip(Axis::roll);
    EXPECT_THAT(converted({10, -5, 3}, conversion), ElementsAre(10, -5, -3));
}

TEST(Conversion, AFlippedAxisAtRestIsNoNegativeZero) {
    EXPECT_FALSE(std::signbit(converted({0, 0, 0}, {.flipped = {true, true, true}})[1]));
}

TEST(Conversion, GivesTheAxesInTheOrderAskedFor) {
    EXPECT_THAT(converted({1, 2, 3}, {.order = {Axis::roll, Axis::pan, Axis::tilt}}),
                ElementsAre(3, 1, 2));
}

TEST(Conversion, FlipsAnAxisWhereverItStands) {
    EXPECT_THAT(converted({1, 2, 3}, {.flipped = {true, false, false},
                                      .order = {Axis::roll, Axis::pan, Axis::tilt}}),
                ElementsAre(3, -1, 2));
}

TEST(Conversion, GivesRadians) {
    const std::vector<float> values = converted({180, -90, 45}, {.radians = true});
    EXPECT_FLOAT_EQ(values[0], 3.14159265F);
    EXPECT_FLOAT_EQ(values[1], -1.57079633F);
    EXPECT_FLOAT_EQ(values[2], 0.785398163F);
}

TEST(Conversion, TheQuaternionIsTheTurnOfTheFieldOverTheWholeSphere) {
    const Conversion conversion{.form = Conversion::Form::quaternion};
    int poses = 0;
    for (int pan = -180; pan <= 180; pan += 15) {
        for (int tilt = -90; tilt <= 90; tilt += 15) {
            for (int roll = -180; roll <= 180; roll += 30) {
                const auto q = converted(
                    {static_cast<float>(pan), static_cast<float>(tilt), static_cast<float>(roll)},
                    conversion);
                ASSERT_EQ(q.size(), 4U);
                const Eigen::Quaterniond turned(q[0], q[1], q[2], q[3]);
                ASSERT_NEAR(turned.norm(), 1, 1e-6);
                ASSERT_TRUE(turned.toRotationMatrix().isApprox(heardField(pan, tilt, roll), 1e-5))
                    << pan << " " << tilt << " " << roll;
                ++poses;
            }
        }
    }
    EXPECT_EQ(poses, 25 * 13 * 13);
}

TEST(Conversion, AFlippedAxisIsFlippedInTheQuaternionToo) {
    const auto q = converted(
        {40, 20, -10}, {.form = Conversion::Form::quaternion, .flipped = {false, true, true}});
    EXPECT_TRUE(Eigen::Quaterniond(q[0], q[1], q[2], q[3])
                    .toRotationMatrix()
                    .isApprox(heardField(40, -20, 10), 1e-5));
}

TEST(Conversion, AHeadThatTurnsRightTurnsTheFieldLeft) {
    const auto q = converted({30, 0, 0}, {.form = Conversion::Form::quaternion});
    const Eigen::Vector3d front =
        Eigen::Quaterniond(q[0], q[1], q[2], q[3]) * Eigen::Vector3d::UnitX();
    EXPECT_NEAR(front.y(), std::sin(radians(30)), 1e-6);
}

}  // namespace
}  // namespace velmaro
