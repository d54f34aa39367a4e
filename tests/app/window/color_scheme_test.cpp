#include <gtest/gtest.h>

#include <QPalette>

#include "app/window/Colors.h"

namespace velmaro {
namespace {

TEST(Palette, SetsEveryGroupForItsScheme) {
    for (const ColorScheme scheme : {ColorScheme::light, ColorScheme::dark}) {
        const QPalette palette = paletteOf(scheme);
        EXPECT_EQ(schemeOf(palette), scheme);
        const bool dark = scheme == ColorScheme::dark;
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            for (const auto role : {QPalette::Window, QPalette::Base, QPalette::Button}) {
                EXPECT_EQ(palette.color(group, role).lightness() < 128, dark) << group << role;
            }
        }
        const auto contrast = [&](QPalette::ColorGroup group) {
            return std::abs(palette.color(group, QPalette::WindowText).lightness() -
                            palette.color(group, QPalette::Window).lightness());
        };
        EXPECT_GT(contrast(QPalette::Active), 150);
        EXPECT_GT(contrast(QPalette::Disabled), 40);
        EXPECT_LT(contrast(QPalette::Disabled), contrast(QPalette::Active));
    }
}

}  // namespace
}  // namespace velmaro
