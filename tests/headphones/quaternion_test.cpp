#include "headphones/Quaternion.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <type_traits>

namespace velmaro {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr CMQuaternion kI{1, 0, 0, 0};
constexpr CMQuaternion kJ{0, 1, 0, 0};
constexpr CMQuaternion kK{0, 0, 1, 0};

TEST(Quaternion, BeginsAtTheIdentityWithTheScalarLast) {
    EXPECT_EQ(CMQuaternion{}, (CMQuaternion{.x = 0, .y = 0, .z = 0, .w = 1}));
    static_assert(std::is_standard_layout_v<CMQuaternion>);
    static_assert(sizeof(CMQuaternion) == 4 * sizeof(double));
}

TEST(Quaternion, IsEqualWithoutTolerance) {
    const CMQuaternion q{0.1, 0.2, 0.3, 0.4};
    EXPECT_TRUE(q == q);
    const double next = std::nextafter(0.1, 1);
    EXPECT_FALSE(q == (CMQuaternion{next, 0.2, 0.3, 0.4}));
    EXPECT_FALSE(q == (CMQuaternion{0.1, std::nextafter(0.2, 1), 0.3, 0.4}));
    EXPECT_FALSE(q == (CMQuaternion{0.1, 0.2, std::nextafter(0.3, 1), 0.4}));
    EXPECT_FALSE(q == (CMQuaternion{0.1, 0.2, 0.3, std::nextafter(0.4, 1)}));
    EXPECT_TRUE(q != (CMQuaternion{next, 0.2, 0.3, 0.4}));
}

TEST(Quaternion, EqualityTakesZerosOfEitherSignAndNoNaN) {
    EXPECT_TRUE((CMQuaternion{0.0, 0.0, 0.0, 0.0}) == (CMQuaternion{-0.0, -0.0, -0.0, -0.0}));
    for (const CMQuaternion& q : {CMQuaternion{kNaN, 0, 0, 1}, CMQuaternion{0, kNaN, 0, 1},
                                  CMQuaternion{0, 0, kNaN, 1}, CMQuaternion{0, 0, 0, kNaN}}) {
        EXPECT_FALSE(q == q);
    }
}

TEST(Quaternion, MultipliesInHamiltonsWay) {
    EXPECT_EQ(kI * kJ, (CMQuaternion{0, 0, 1, 0}));
    EXPECT_EQ(kJ * kI, (CMQuaternion{0, 0, -1, 0}));
    EXPECT_EQ(kJ * kK, kI);
    EXPECT_EQ(kK * kI, kJ);
    EXPECT_EQ(kI * kI, (CMQuaternion{0, 0, 0, -1}));
    const CMQuaternion a{2, 3, 5, 7};
    const CMQuaternion b{11, 13, 17, 19};
    EXPECT_EQ(a * b, (CMQuaternion{101, 169, 207, -13}));
    EXPECT_EQ(b * a, (CMQuaternion{129, 127, 221, -13}));
    EXPECT_EQ(a * CMQuaternion{}, a);
    EXPECT_EQ(CMQuaternion{} * a, a);
}

// Values whose product differs in its last bits as soon as the four terms are added in another
// order.
TEST(Quaternion, AddsTheTermsOfAProductInTheirOrder) {
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    const CMQuaternion first = CMQuaternion{0.421622, 0.550212, -0.084623, 0.113512} *
                               CMQuaternion{0.569792, 0.445344, 0.812299, -0.368263};
    EXPECT_EQ(bits(first.x), 0x3fd937d812e8eb80U);
    EXPECT_EQ(bits(first.y), 0xbfe15e6246a7b8bfU);
    EXPECT_EQ(bits(first.z), 0xbf636b037b5ec910U);
    EXPECT_EQ(bits(first.w), 0xbfdd55563aae9ce7U);
    const CMQuaternion second = CMQuaternion{-0.628336, 0.876891, -0.24487, 0.887725} *
                                CMQuaternion{-0.467905, 0.375027, -0.116632, 0.979403};
    EXPECT_EQ(bits(second.x), 0xbff0a8c76edacf53U);
    EXPECT_EQ(bits(second.y), 0x3ff3ba8a98d4c51cU);
    EXPECT_EQ(bits(second.z), 0xbfc5981ebdc7be2dU);
    EXPECT_EQ(bits(second.w), 0x3fcbe820d78e24c3U);
}

TEST(Quaternion, ConjugateNegatesAllButTheScalar) {
    const CMQuaternion q = conjugate({0.0, 2, -3, 4});
    EXPECT_EQ(q, (CMQuaternion{0, -2, 3, 4}));
    EXPECT_TRUE(std::signbit(q.x));
}

TEST(Quaternion, TimesItsConjugateIsTheSquaredLength) {
    EXPECT_EQ((CMQuaternion{2, 3, 5, 7}) * conjugate({2, 3, 5, 7}), (CMQuaternion{0, 0, 0, 87}));
    const CMQuaternion unit{0.18257418583505536, 0.3651483716701107, 0.5477225575051661,
                            0.7302967433402214};
    const CMQuaternion identity = unit * conjugate(unit);
    EXPECT_NEAR(identity.x, 0, 1e-15);
    EXPECT_NEAR(identity.y, 0, 1e-15);
    EXPECT_NEAR(identity.z, 0, 1e-15);
    EXPECT_NEAR(identity.w, 1, 1e-15);
}

TEST(TaitBryan, BeginsAtZero) {
    const TaitBryan angles;
    EXPECT_EQ(angles.yaw, 0);
    EXPECT_EQ(angles.pitch, 0);
    EXPECT_EQ(angles.roll, 0);
}

TEST(TaitBryan, OfTheIdentityIsZero) {
    const TaitBryan angles = toTaitBryan(CMQuaternion{});
    EXPECT_EQ(angles.yaw, 0);
    EXPECT_EQ(angles.pitch, 0);
    EXPECT_EQ(angles.roll, 0);
}

TEST(TaitBryan, NamesTheAxesZYX) {
    const double s = std::sin(kPi / 4);
    const double c = std::cos(kPi / 4);
    const TaitBryan z = toTaitBryan({0, 0, s, c});
    EXPECT_NEAR(z.yaw, kPi / 2, 1e-15);
    EXPECT_EQ(z.pitch, 0);
    EXPECT_EQ(z.roll, 0);

    const TaitBryan y = toTaitBryan({0, std::sin(0.1), 0, std::cos(0.1)});
    EXPECT_EQ(y.yaw, 0);
    EXPECT_NEAR(y.pitch, 0.2, 1e-15);
    EXPECT_EQ(y.roll, 0);

    const TaitBryan x = toTaitBryan({s, 0, 0, c});
    EXPECT_EQ(x.yaw, 0);
    EXPECT_EQ(x.pitch, 0);
    EXPECT_NEAR(x.roll, kPi / 2, 1e-15);
}

TEST(TaitBryan, TakesApartWhatWasPutTogetherAsYawThenPitchThenRoll) {
    const CMQuaternion yaw{0, 0, std::sin(0.35), std::cos(0.35)};
    const CMQuaternion pitch{0, std::sin(-0.2), 0, std::cos(-0.2)};
    const CMQuaternion roll{std::sin(0.6), 0, 0, std::cos(0.6)};
    const TaitBryan angles = toTaitBryan(yaw * pitch * roll);
    EXPECT_NEAR(angles.yaw, 0.7, 1e-15);
    EXPECT_NEAR(angles.pitch, -0.4, 1e-15);
    EXPECT_NEAR(angles.roll, 1.2, 1e-15);
}

TEST(TaitBryan, KeepsTheWholeTurnOfYawAndRoll) {
    EXPECT_EQ(toTaitBryan({0, 0, 1, 0}).yaw, kPi);
    EXPECT_EQ(toTaitBryan({-0.0, 0, 1, -0.0}).yaw, -kPi);
    EXPECT_EQ(toTaitBryan({1, 0, 0, 0}).roll, kPi);
    EXPECT_EQ(toTaitBryan({1, -0.0, 0, -0.0}).roll, -kPi);
}

TEST(TaitBryan, PitchIsNotANumberBeyondTheUnitLength) {
    EXPECT_EQ(toTaitBryan({0, 0, 0, 2}).pitch, 0);
    EXPECT_TRUE(std::isnan(toTaitBryan({0, 0.8, 0, 0.8}).pitch));
    EXPECT_TRUE(std::isnan(toTaitBryan({0, -0.8, 0, 0.8}).pitch));
    // Half the sine beyond 1 and at and beyond -1, where the limit takes hold.
    EXPECT_TRUE(std::isnan(toTaitBryan({0, 3, 0, 3}).pitch));
    EXPECT_TRUE(std::isnan(toTaitBryan({0, -1, 0, 1}).pitch));
    EXPECT_TRUE(std::isnan(toTaitBryan({0, -3, 0, 3}).pitch));
    EXPECT_TRUE(std::isnan(toTaitBryan({0, kNaN, 0, 1}).pitch));
    EXPECT_TRUE(std::isnan(toTaitBryan({0, std::nextafter(0.5, 1), 0, 1}).pitch));
    EXPECT_EQ(toTaitBryan({0, 0.5, 0, 1}).pitch, std::asin(1.0));
    EXPECT_EQ(toTaitBryan({0, -0.5, 0, 1}).pitch, std::asin(-1.0));
}

}  // namespace
}  // namespace velmaro
