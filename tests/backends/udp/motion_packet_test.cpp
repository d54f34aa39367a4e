#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "backends/udp/MotionPacket.h"
#include "headphones/Quaternion.h"

namespace velmaro {
namespace {

std::vector<std::uint8_t> packet(const std::array<double, 6>& values) {
    std::vector<std::uint8_t> bytes;
    for (const double value : values) {
        const auto bits = std::bit_cast<std::uint64_t>(value);
        for (unsigned i = 0; i < 8; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(bits >> (8 * i)));
        }
    }
    return bytes;
}

TEST(MotionPacket, HoldsAnglesInDegreesAfterThePosition) {
    const auto attitude = parseMotionPacket(packet({1e300, -2, 3, -35, 20, 5}));
    ASSERT_TRUE(attitude);
    EXPECT_EQ(*attitude, attitudeFromAngles(-35, 20, 5));
}

TEST(MotionPacket, IsLittleEndian) {
    std::vector<std::uint8_t> bytes(48);
    // The double 90.
    bytes[24 + 7] = 0x40;
    bytes[24 + 6] = 0x56;
    bytes[24 + 5] = 0x80;
    const auto attitude = parseMotionPacket(bytes);
    ASSERT_TRUE(attitude);
    EXPECT_NEAR(attitude->z, -std::sqrt(0.5), 1e-15);
    EXPECT_NEAR(attitude->w, std::sqrt(0.5), 1e-15);
}

TEST(MotionPacket, MayBeReversed) {
    EXPECT_EQ(parseMotionPacket(packet({0, 0, 0, 10, 20, 30}), {-1, 1, -1}),
              attitudeFromAngles(-10, 20, -30));
}

TEST(MotionPacket, DropsWholeTurns) {
    const auto attitude = parseMotionPacket(packet({0, 0, 0, 3600 + 10, -720, 360}));
    ASSERT_TRUE(attitude);
    EXPECT_NEAR(attitude->w, std::cos(5 * std::acos(-1) / 180), 1e-12);
    const auto huge = parseMotionPacket(packet({0, 0, 0, 1e308, -1e308, 1e-308}));
    ASSERT_TRUE(huge);
    EXPECT_NEAR(huge->x * huge->x + huge->y * huge->y + huge->z * huge->z + huge->w * huge->w, 1,
                1e-12);
}

TEST(MotionPacket, HalfATurnKeepsItsSign) {
    for (const double half : {180.0, -180.0}) {
        EXPECT_EQ(parseMotionPacket(packet({0, 0, 0, half, 0, 0})), attitudeFromAngles(half, 0, 0));
        EXPECT_EQ(parseMotionPacket(packet({0, 0, 0, 0, half, 0})), attitudeFromAngles(0, half, 0));
        EXPECT_EQ(parseMotionPacket(packet({0, 0, 0, 0, 0, half})), attitudeFromAngles(0, 0, half));
    }
}

TEST(MotionPacket, RefusesOtherSizes) {
    const auto bytes = packet({0, 0, 0, 10, 20, 30});
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_FALSE(parseMotionPacket({bytes.data(), size}));
    }
    auto longer = bytes;
    longer.push_back(0);
    EXPECT_FALSE(parseMotionPacket(longer));
}

TEST(MotionPacket, RefusesWhatIsNotFinite) {
    for (const double wrong :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity()}) {
        EXPECT_FALSE(parseMotionPacket(packet({0, 0, 0, wrong, 0, 0})));
        EXPECT_FALSE(parseMotionPacket(packet({0, 0, 0, 0, wrong, 0})));
        EXPECT_FALSE(parseMotionPacket(packet({0, 0, 0, 0, 0, wrong})));
        EXPECT_TRUE(parseMotionPacket(packet({wrong, wrong, wrong, 0, 0, 0})))
            << "the position is not used";
    }
}

}  // namespace
}  // namespace velmaro
