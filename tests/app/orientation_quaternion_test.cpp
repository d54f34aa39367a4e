#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>

#include "app/OrientationQuaternion.h"

namespace velmaro {
namespace {

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

TEST(OrientationQuaternion, BeginsAtTheIdentity) {
    const OrientationQuaternion q;
    EXPECT_EQ(q.w, 1.0F);
    EXPECT_EQ(q.x, 0.0F);
    EXPECT_EQ(q.y, 0.0F);
    EXPECT_EQ(q.z, 0.0F);
}

TEST(OrientationQuaternion, OfNothingIsTheIdentity) {
    const OrientationQuaternion q = orientationQuaternion(0, 0);
    EXPECT_EQ(q.w, 1.0F);
    EXPECT_EQ(q.x, 0.0F);
    EXPECT_EQ(q.y, 0.0F);
    EXPECT_EQ(q.z, 0.0F);
    // The sign of the product is turned even where it is zero.
    EXPECT_EQ(bits(q.x), bits(-0.0F));
}

TEST(OrientationQuaternion, UsesThePiOneUnitBelowTheNearest) {
    // Half of 180 degrees: the cosine shows which pi it was.
    const float half = std::bit_cast<float>(0x40490FDAU) * 0.5F;
    EXPECT_EQ(bits(orientationQuaternion(180, 0).w), bits(std::cos(half)));
    EXPECT_NE(bits(orientationQuaternion(180, 0).w),
              bits(std::cos(std::bit_cast<float>(0x40490FDBU) * 0.5F)));
}

TEST(OrientationQuaternion, IsTheseBits) {
    struct Row {
        float pan;
        float tilt;
        std::uint32_t w, x, y, z;
    };
    for (const Row& row : {Row{33.3F, 21.7F, 0x3F70E1D3, 0xBD5CEAE1, 0x3E38ACAA, 0x3E9013FB},
                           Row{-33.3F, 12.5F, 0x3F73CF13, 0x3CFF8886, 0x3DD59C7F, 0xBE91D421},
                           Row{77, -30, 0x3F418561, 0x3E24FC47, 0xBE4F6A49, 0x3F19EEFD},
                           Row{150, -75, 0x3E52435C, 0x3F16885E, 0xBE21572E, 0x3F442D95},
                           Row{180, 45, 0x3395CA00, 0xBEC3EF15, 0x32F82DBB, 0x3F6C835F}}) {
        const OrientationQuaternion q = orientationQuaternion(row.pan, row.tilt);
        EXPECT_EQ(bits(q.w), row.w) << row.pan << ", " << row.tilt;
        EXPECT_EQ(bits(q.x), row.x) << row.pan << ", " << row.tilt;
        EXPECT_EQ(bits(q.y), row.y) << row.pan << ", " << row.tilt;
        EXPECT_EQ(bits(q.z), row.z) << row.pan << ", " << row.tilt;
    }
}

TEST(OrientationQuaternion, OfAQuarterTurnIsAboutZ) {
    const OrientationQuaternion q = orientationQuaternion(90, 0);
    EXPECT_NEAR(q.w, std::cos(M_PI / 4), 1e-7);
    EXPECT_EQ(q.x, 0.0F);
    EXPECT_EQ(q.y, 0.0F);
    EXPECT_NEAR(q.z, std::sin(M_PI / 4), 1e-7);
}

TEST(OrientationQuaternion, CombinesPanAndTilt) {
    const OrientationQuaternion q = orientationQuaternion(60, 40);
    const double p = 30 * M_PI / 180;
    const double t = 20 * M_PI / 180;
    EXPECT_NEAR(q.w, std::cos(p) * std::cos(t), 1e-6);
    EXPECT_NEAR(q.x, -std::sin(t) * std::sin(p), 1e-6);
    EXPECT_NEAR(q.y, std::cos(p) * std::sin(t), 1e-6);
    EXPECT_NEAR(q.z, std::sin(p) * std::cos(t), 1e-6);
    EXPECT_NEAR(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z, 1.0, 1e-6);
}

}  // namespace
}  // namespace velmaro
