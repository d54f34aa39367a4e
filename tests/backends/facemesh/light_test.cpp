#include "backends/facemesh/Light.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace velmaro::facemesh {
namespace {

/// Half of the cells are twice as light as the mean, the others black.
std::vector<float> cells(float mean, float black) {
    std::vector<float> values(3072, black);
    for (std::size_t i = 0; i < values.size(); i += 2) {
        values[i] = black + 2 * mean * (1 - black);
    }
    return values;
}

/// From black, 0, to white, 1.
float lightest(const std::vector<float>& values, float black) {
    return (*std::ranges::max_element(values) - black) / (1 - black);
}

class Light : public ::testing::TestWithParam<float> {};

TEST_P(Light, WhatIsLitIsLeftAsItIs) {
    auto lit = cells(0.21F, GetParam());
    const auto before = lit;
    lighten(lit, GetParam());
    EXPECT_EQ(lit, before);
}

TEST_P(Light, TheDarkIsLightenedToAFifth) {
    auto dark = cells(0.02F, GetParam());
    lighten(dark, GetParam());
    EXPECT_NEAR(lightest(dark, GetParam()), 0.4F, 1e-4F);
    EXPECT_EQ(dark[1], GetParam());
}

TEST_P(Light, NothingBecomesLighterThanWhite) {
    auto dark = cells(0.02F, GetParam());
    dark[7] = GetParam() + 0.5F * (1 - GetParam());
    lighten(dark, GetParam());
    EXPECT_NEAR(lightest(dark, GetParam()), 1, 1e-4F);
    EXPECT_NEAR((dark[0] - GetParam()) / (1 - GetParam()), 0.08F, 1e-4F);
}

TEST_P(Light, NoiseInTheDarkStaysDark) {
    auto dark = cells(0.001F, GetParam());
    lighten(dark, GetParam());
    EXPECT_NEAR(lightest(dark, GetParam()), 0.032F, 1e-4F);
}

TEST_P(Light, BlackStaysBlack) {
    std::vector<float> black(3072, GetParam());
    lighten(black, GetParam());
    EXPECT_EQ(black, std::vector<float>(3072, GetParam()));
}

TEST_P(Light, WhatShowsNoPictureDoesNotMakeItDark) {
    auto lit = cells(0.15F, GetParam());
    const auto before = lit;
    lighten(lit, GetParam(), 0.7F);
    EXPECT_EQ(lit, before);
}

INSTANTIATE_TEST_SUITE_P(FromBlack, Light, ::testing::Values(0.0F, -1.0F));

}  // namespace
}  // namespace velmaro::facemesh
