#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include "fakes/FaceLandmarks.h"
#include "headpose/HeadAngles.h"

namespace velmaro {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

std::uint32_t bits(float value) {
    return std::bit_cast<std::uint32_t>(value);
}

fakes::ScriptedFace exampleFace() {
    return {.noseCrest = {{{0, 0}, {0, 0}, {0, 0}, {0.52, 0.46}, {0, 0}, {0, 0}}},
            .leftEye = {{{0.28, 0.60}, {0.32, 0.64}}},
            .rightEye = {{{0.68, 0.60}, {0.72, 0.64}}},
            .boundingBox = {0.4, 0.3, 0.25, 0.4},
            .yaw = 0.1};
}

std::optional<HeadAngles> raw(const fakes::ScriptedFace& face, int width = 1280, int height = 720) {
    const FaceObservation observation = face.observation();
    return rawHeadAngles(observation, *observation.landmarks, width, height);
}

TEST(RawHeadAngles, WorkedExampleWithAReportedYaw) {
    const auto angles = raw(exampleFace());
    ASSERT_TRUE(angles);
    EXPECT_EQ(bits(angles->pan), bits(6.7295785F));
    EXPECT_EQ(bits(angles->tilt), bits(-18.359703F));
}

TEST(RawHeadAngles, WorkedExampleWithoutAReportedYaw) {
    fakes::ScriptedFace face = exampleFace();
    face.yaw.reset();
    const auto angles = raw(face);
    ASSERT_TRUE(angles);
    EXPECT_FLOAT_EQ(angles->pan, 5.5F);
    EXPECT_FLOAT_EQ(angles->tilt, -18.0F);
}

TEST(RawHeadAngles, TheDegreesConstantIsOneUnitAboveTheNearest) {
    fakes::ScriptedFace face = exampleFace();
    face.boundingBox = {0.25, 0.25, 0.5, 0.5};
    face.yaw = 1.0;
    const auto angles = raw(face);
    ASSERT_TRUE(angles);
    EXPECT_EQ(bits(angles->pan), bits(57.295784F));
    EXPECT_EQ(bits(57.295784F), bits(std::nextafter(static_cast<float>(180.0 / M_PI), 100.0F)));
}

// Nothing about this face is symmetric, level, round or in the middle.
TEST(RawHeadAngles, AreTheseToTheBit) {
    fakes::ScriptedFace face{
        .noseCrest = {{{0.48, 0.61}, {0.49, 0.52}, {0.53, 0.44}, {0.47, 0.41}}},
        .leftEye = {{{0.21, 0.66}, {0.27, 0.71}, {0.335, 0.64}}},
        .rightEye = {{{0.66, 0.58}, {0.73, 0.635}, {0.785, 0.57}}},
        .boundingBox = {},
        .yaw = {}};
    const Rectangle left{0.07, 0.52, 0.31, 0.36};
    const Rectangle right{0.61, 0.04, 0.22, 0.5};
    struct Row {
        std::optional<double> yaw;
        std::uint32_t pan, tilt, rightPan, rightTilt;
    };
    for (const Row& row : {Row{0.37, 0x412330E8, 0xC0F637E0, 0x41EFFEDA, 0xC2012D62},
                           Row{-0.9, 0xC27A43CB, 0xC1F9004C, 0xC22B1098, 0xC25EE68C},
                           Row{-1.3, 0xC2AAF813, 0xC2212EB3, 0xC2835E79, 0xC281CA8D},
                           Row{{}, 0xC099857E, 0xC025D660, 0x41700A0E, 0xC1D98798}}) {
        face.yaw = row.yaw;
        face.boundingBox = left;
        const auto angles = raw(face, 640, 480);
        EXPECT_EQ(bits(angles->pan), row.pan) << row.yaw.value_or(0);
        EXPECT_EQ(bits(angles->tilt), row.tilt) << row.yaw.value_or(0);
        face.boundingBox = right;
        const auto others = raw(face, 1281, 719);
        EXPECT_EQ(bits(others->pan), row.rightPan) << row.yaw.value_or(0);
        EXPECT_EQ(bits(others->tilt), row.rightTilt) << row.yaw.value_or(0);
    }
}

// Each term lies exactly between two single-precision values, and the lower one is even: the last
// bit of a double-precision constant decides on which side it is rounded.
TEST(RawHeadAngles, TheConstantsAreThoseOfDoublePrecision) {
    const double middle = 0.5;
    fakes::ScriptedFace face{.noseCrest = {{{middle, 0}}},
                             .leftEye = {{{0, 0}}},
                             .rightEye = {{{1, 0}}},
                             .boundingBox = {middle, middle, 0, 0},
                             .yaw = {}};
    const auto half = [](double term) { return static_cast<float>(term); };
    face.boundingBox.x = middle + 3355445 * 0x1p-27;
    EXPECT_EQ(bits(raw(face, 1024, 1024)->pan), bits(half(16777224 * 0x1p-24)));
    // The same with an odd lower value: less is rounded down where this is rounded up.
    face.boundingBox.x = middle + 3355447 * 0x1p-27;
    EXPECT_EQ(bits(raw(face, 1024, 1024)->pan), bits(half(16777236 * 0x1p-24)));
    face.boundingBox = {middle, middle, 0, 0};
    face.noseCrest = {{{middle + 372829 * 0x1p-20, 0}}};
    EXPECT_EQ(bits(raw(face, 1024, 1024)->pan), bits(half(16777304 * 0x1p-19)));
    // The sum with -90 keeps the last bit of what is near to 90.
    face.noseCrest = {{{middle, -372829 * 0x1p-20}}};
    EXPECT_EQ(bits(raw(face, 1024, 1024)->tilt), bits(half(16777304 * 0x1p-18) - 90.0F));
    face.noseCrest = {{{middle, 0}}};
    face.boundingBox.y = middle + 1118483 * 0x1p-20;
    EXPECT_EQ(bits(raw(face, 1024, 1024)->tilt), bits(half(16777244 * 0x1p-18) - 90.0F));
    face.boundingBox.y = middle + 1118485 * 0x1p-20;
    EXPECT_EQ(bits(raw(face, 1024, 1024)->tilt), bits(half(16777276 * 0x1p-18) - 90.0F));
    // Of so low a picture the half is nearer to what is taken from it.
    EXPECT_EQ(bits(raw(face, 1024, 3)->tilt), bits(half(16777276 * 0x1p-18) - 90.0F));
    // Far turned, and by the smallest angle whose cosine is beyond a half.
    face.boundingBox = {middle, middle, 0, 0};
    face.noseCrest = {{{middle, -2 * 372829 * 0x1p-20}}};
    face.yaw = 1.5;
    EXPECT_EQ(bits(raw(face, 1024, 1024)->tilt), bits(half(16777304 * 0x1p-18) - 90.0F));
    face.yaw = M_PI / 3;
    ASSERT_EQ(std::cos(*face.yaw), std::nextafter(0.5, 1));
    EXPECT_EQ(bits(raw(face, 1024, 1024)->tilt), bits(half(16777306 * 0x1p-18) - 90.0F));
}

TEST(RawHeadAngles, ANoseCrestOfOnePointUsesItAndOfTwoItsSecond) {
    fakes::ScriptedFace face = exampleFace();
    face.yaw.reset();
    const auto reference = raw(face);
    face.noseCrest = {{{0.52, 0.46}}};
    EXPECT_EQ(raw(face)->pan, reference->pan);
    face.noseCrest = {{{0.1, 0.1}, {0.52, 0.46}}};
    EXPECT_EQ(raw(face)->pan, reference->pan);
    face.noseCrest = {{{0.1, 0.1}, {0.1, 0.1}, {0.52, 0.46}, {0.1, 0.1}, {0.1, 0.1}}};
    EXPECT_EQ(raw(face)->pan, reference->pan);
}

TEST(RawHeadAngles, AnAbsentRegionGivesZeroForBoth) {
    for (int absent = 0; absent < 3; ++absent) {
        fakes::ScriptedFace face = exampleFace();
        if (absent == 0) {
            face.noseCrest.reset();
        } else if (absent == 1) {
            face.leftEye.reset();
        } else {
            face.rightEye.reset();
        }
        const auto angles = raw(face);
        ASSERT_TRUE(angles);
        EXPECT_EQ(bits(angles->pan), bits(0.0F));
        EXPECT_EQ(bits(angles->tilt), bits(0.0F));
    }
}

TEST(RawHeadAngles, AnAbsentRegionWinsOverAnEmptyOne) {
    fakes::ScriptedFace face = exampleFace();
    face.noseCrest->clear();
    face.leftEye.reset();
    EXPECT_TRUE(raw(face));
}

TEST(RawHeadAngles, AnEmptyRegionGivesNothing) {
    for (int empty = 0; empty < 3; ++empty) {
        fakes::ScriptedFace face = exampleFace();
        (empty == 0 ? face.noseCrest : empty == 1 ? face.leftEye : face.rightEye)->clear();
        EXPECT_FALSE(raw(face));
    }
}

TEST(RawHeadAngles, AYawBeyondSixtyDegreesAtMostDoublesTheEyeDistance) {
    fakes::ScriptedFace face = exampleFace();
    face.boundingBox = {0.25, 0.25, 0.5, 0.5};
    face.yaw = std::acos(0.2);
    // 0.16 below the eyes over twice 0.4.
    EXPECT_FLOAT_EQ(raw(face)->tilt, 36.0F - 90.0F);
    face.yaw = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FLOAT_EQ(raw(face)->tilt, 36.0F - 90.0F);
    face.yaw = std::numeric_limits<double>::infinity();
    EXPECT_FLOAT_EQ(raw(face)->tilt, 36.0F - 90.0F);
}

TEST(RawHeadAngles, CoincidingEyesDivideByZero) {
    fakes::ScriptedFace face = exampleFace();
    face.rightEye = face.leftEye;
    face.yaw.reset();
    const auto angles = raw(face);
    ASSERT_TRUE(angles);
    EXPECT_EQ(angles->pan, kInfinity);
    EXPECT_EQ(angles->tilt, kInfinity);
    EXPECT_EQ(clampAngle(angles->pan, 180), 180.0F);
    face.noseCrest = face.leftEye = face.rightEye = {{{0.5, 0.5}}};
    EXPECT_TRUE(std::isnan(raw(face)->tilt));
}

TEST(RawHeadAngles, ThePositionRunsFromMinusOneToOne) {
    fakes::ScriptedFace face = exampleFace();
    face.yaw = 0.0;
    face.boundingBox = {-0.1, 0.9, 0.2, 0.2};
    const auto angles = raw(face);
    EXPECT_FLOAT_EQ(angles->pan, -20.0F);
    EXPECT_FLOAT_EQ(angles->tilt, 30.0F + 72.0F - 90.0F);
}

TEST(ClampAngle, IgnoresNotANumberAndTakesInfinitiesToTheNearerBound) {
    EXPECT_EQ(clampAngle(kNaN, 180), 180.0F);
    EXPECT_EQ(clampAngle(kNaN, 90), 90.0F);
    EXPECT_EQ(clampAngle(kInfinity, 180), 180.0F);
    EXPECT_EQ(clampAngle(-kInfinity, 90), -90.0F);
    EXPECT_EQ(clampAngle(250, 180), 180.0F);
    EXPECT_EQ(clampAngle(-91, 90), -90.0F);
    EXPECT_EQ(clampAngle(3, 180), 3.0F);
}

TEST(TiltDeadZone, ShrinksTheRange) {
    EXPECT_EQ(applyTiltDeadZone(20), 5.0F);
    EXPECT_EQ(applyTiltDeadZone(-20), -5.0F);
    EXPECT_EQ(applyTiltDeadZone(14.9F), 0.0F);
    EXPECT_EQ(applyTiltDeadZone(15.5F), 0.5F);
    EXPECT_EQ(applyTiltDeadZone(-90), -75.0F);
    EXPECT_EQ(bits(applyTiltDeadZone(15)), bits(0.0F));
    EXPECT_EQ(bits(applyTiltDeadZone(-15)), bits(-0.0F));
    EXPECT_EQ(bits(applyTiltDeadZone(-14)), bits(0.0F));
}

TEST(ShortestDecimal, ReadsBackAndAlwaysHasAFraction) {
    EXPECT_EQ(shortestDecimal(6.7295785F), "6.7295785");
    EXPECT_EQ(shortestDecimal(-18.359703F), "-18.359703");
    EXPECT_EQ(shortestDecimal(0.0F), "0.0");
    EXPECT_EQ(shortestDecimal(-0.0F), "-0.0");
    EXPECT_EQ(shortestDecimal(180.0F), "180.0");
    EXPECT_EQ(shortestDecimal(-90.0F), "-90.0");
    EXPECT_EQ(shortestDecimal(0.1F), "0.1");
    EXPECT_EQ(shortestDecimal(0.00001F), "0.00001");
    EXPECT_EQ(shortestDecimal(2.5e-5F), "0.000025");
    for (const float value :
         {1.0F / 3.0F, 54.000004F, 1e-30F, std::numeric_limits<float>::denorm_min(),
          std::numeric_limits<float>::max()}) {
        const std::string text = shortestDecimal(value);
        EXPECT_EQ(bits(std::strtof(text.c_str(), nullptr)), bits(value)) << text;
        EXPECT_NE(text.find('.'), std::string::npos) << text;
    }
}

}  // namespace
}  // namespace velmaro
