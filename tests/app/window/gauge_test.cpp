#include "app/window/Gauge.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QImage>
#include <QPainter>
#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

#include "app/window/Colors.h"
#include "app/window/Wedge.h"

namespace velmaro {
namespace {

constexpr double kPi = std::numbers::pi;

QImage picture(const Gauge& gauge, int scale = 1) {
    QImage image(gauge.size() * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    image.fill(colorsFor(gauge.palette()).window);
    const_cast<Gauge&>(gauge).render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

QColor mixed(const QColor& above, double opacity, const QColor& below) {
    const auto mix = [&](int top, int bottom) {
        return static_cast<int>(std::lround(top * opacity + bottom * (1 - opacity)));
    };
    return {mix(above.red(), below.red()), mix(above.green(), below.green()),
            mix(above.blue(), below.blue())};
}

int distance(const QColor& left, const QColor& right) {
    return std::max({std::abs(left.red() - right.red()), std::abs(left.green() - right.green()),
                     std::abs(left.blue() - right.blue())});
}

using Angles = std::tuple<float, float>;

class WedgePixels : public testing::TestWithParam<Angles> {};

// Every pixel that no edge comes near is either the wedge's own colour at its height or the
// window's, by a definition of the slice that shares nothing with the painting.
TEST_P(WedgePixels, AreWhereTheAnglesSay) {
    const auto [pan, tilt] = GetParam();
    for (const int scale : {1, 2}) {
        Gauge gauge;
        gauge.setAngles(pan, tilt);
        const QImage image = picture(gauge, scale);
        const Colors& colors = colorsFor(gauge.palette());
        const double length = 12 + 48 * (90 - std::abs(static_cast<double>(tilt))) / 90;
        const double direction = (-90 - static_cast<double>(pan)) * kPi / 180;
        int inside = 0;
        for (int row = 0; row < image.height(); ++row) {
            for (int column = 0; column < image.width(); ++column) {
                const double x = (column + 0.5) / scale - Gauge::kMargin - 60;
                const double y = (row + 0.5) / scale - Gauge::kMargin - 60;
                const double radius = std::hypot(x, y);
                const double apart = std::remainder(std::atan2(y, x) - direction, 2 * kPi);
                // From the two straight edges, which only matter on their own side.
                const double side =
                    radius * std::sin(std::min(std::abs(std::abs(apart) - kPi / 6), kPi / 2));
                const bool nearDot = radius < 6.5;
                const bool nearOutline = std::abs(radius - 60) < 1.5;
                const bool nearArc =
                    std::abs(radius - length) < 1 && std::abs(apart) < kPi / 6 + 0.1;
                if (nearDot || nearOutline || nearArc || (radius < length + 1 && side < 1)) {
                    continue;
                }
                const QColor seen = image.pixelColor(column, row);
                if (radius < length && std::abs(apart) < kPi / 6) {
                    ++inside;
                    const double height = std::clamp(-y / 60, 0.0, 1.0);
                    const QColor wanted = mixed(colors.blue, 0.6 - 0.4 * height, colors.window);
                    ASSERT_LE(distance(seen, wanted), 3) << "wedge at " << x << ", " << y;
                } else {
                    ASSERT_EQ(seen, colors.window) << "ground at " << x << ", " << y;
                }
            }
        }
        EXPECT_GT(inside, 10 * scale * scale);
    }
}

INSTANTIATE_TEST_SUITE_P(Angles, WedgePixels,
                         testing::Values(Angles{0, 0}, Angles{90, 0}, Angles{-45, 0}, Angles{0, 45},
                                         Angles{0, -45}, Angles{0, 90}, Angles{180, 0},
                                         Angles{-45, 45}, Angles{90, 90}, Angles{-123.4F, -33.3F}));

TEST(Wedge, IsAsLongAsTheTiltLeavesIt) {
    EXPECT_EQ(wedgeLength(0), 60);
    EXPECT_EQ(wedgeLength(45), 36);
    EXPECT_EQ(wedgeLength(-45), 36);
    EXPECT_EQ(wedgeLength(90), 12);
    EXPECT_EQ(wedgeLength(-90), 12);
    EXPECT_EQ(wedgeLength(0.1F), 12 + 48 * (90 - static_cast<double>(0.1F)) / 90);
}

TEST(Wedge, StartsAndTurnsAsDefined) {
    const QPainterPath path = wedgePath(0, 0);
    EXPECT_EQ(path.elementAt(0).x, 60);
    EXPECT_EQ(path.elementAt(0).y, 60);
    EXPECT_NEAR(path.elementAt(1).x, 60 + 60 * std::cos(-2 * kPi / 3), 1e-9);
    EXPECT_NEAR(path.elementAt(1).y, 60 + 60 * std::sin(-2 * kPi / 3), 1e-9);
    EXPECT_TRUE(path.contains(QPointF(60, 5)));
    EXPECT_TRUE(wedgePath(90, 0).contains(QPointF(5, 60))) << "a positive pan points to the left";
    EXPECT_TRUE(wedgePath(-90, 0).contains(QPointF(115, 60)));
}

TEST(Wedge, OfAnglesThatAreNoNumbersIsEmpty) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(wedgePath(nan, 0).isEmpty());
    EXPECT_TRUE(wedgePath(0, nan).isEmpty());
}

TEST(Gauge, OutlineIsStrongerInTheDark) {
    for (const auto& [scheme, opacity] :
         {std::pair{ColorScheme::light, 0.3}, std::pair{ColorScheme::dark, 0.5}}) {
        Gauge gauge;
        gauge.setPalette(paletteOf(scheme));
        const Colors& colors = colorsOf(scheme);
        // At scale 4 the outline covers whole pixels: here those just inside its lowest point.
        const QImage image = picture(gauge, 4);
        const int column = 4 * (Gauge::kMargin + 60);
        const int row = 4 * (Gauge::kMargin + 120);
        EXPECT_LE(
            distance(image.pixelColor(column, row), mixed(colors.gray, opacity, colors.window)), 3);
        EXPECT_EQ(image.pixelColor(column, row + 4), colors.window);
        EXPECT_EQ(image.pixelColor(column, row - 6), colors.window);
    }
}

TEST(Gauge, DotIsTenAcross) {
    const Gauge gauge;
    const QImage image = picture(gauge, 4);
    const int centre = 4 * (Gauge::kMargin + 60);
    const Colors& colors = colorsFor(gauge.palette());
    EXPECT_EQ(image.pixelColor(centre, centre), colors.blue);
    EXPECT_EQ(image.pixelColor(centre + 18, centre), colors.blue);
    EXPECT_EQ(image.pixelColor(centre + 22, centre), colors.window);
}

TEST(Gauge, TellsItsAnglesToThoseWhoCannotSeeThem) {
    Gauge gauge;
    gauge.setAngles(12.34F, -5);
    QAccessibleInterface* const accessible = QAccessible::queryAccessibleInterface(&gauge);
    ASSERT_NE(accessible, nullptr);
    EXPECT_EQ(accessible->role(), QAccessible::Graphic);
    EXPECT_EQ(accessible->text(QAccessible::Name), "Head orientation");
    EXPECT_EQ(accessible->text(QAccessible::Value), "Pan 12.3°, tilt -5.0°");
}

}  // namespace
}  // namespace velmaro
