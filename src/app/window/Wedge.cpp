#include "app/window/Wedge.h"

#include <QPointF>
#include <QRectF>
#include <cmath>
#include <numbers>

namespace velmaro {
namespace {

constexpr double kShortest = 12;
constexpr double kHalfWidth = std::numbers::pi / 6;

double degrees(double radians) {
    return radians * 180 / std::numbers::pi;
}

}  // namespace

double wedgeLength(float tilt) {
    return kShortest + (kGaugeRadius - kShortest) * (90 - std::abs(static_cast<double>(tilt))) / 90;
}

QPainterPath wedgePath(float pan, float tilt) {
    if (!std::isfinite(pan) || !std::isfinite(tilt)) {
        return {};
    }
    const QPointF centre(kGaugeRadius, kGaugeRadius);
    const double length = wedgeLength(tilt);
    const double direction = (-90 - static_cast<double>(pan)) * std::numbers::pi / 180;
    const double first = direction - kHalfWidth;

    QPainterPath path(centre);
    path.lineTo(centre + length * QPointF(std::cos(first), std::sin(first)));
    // Qt counts angles against the clock, the gauge's coordinates with it.
    path.arcTo(QRectF(centre.x() - length, centre.y() - length, 2 * length, 2 * length),
               -degrees(first), -degrees(2 * kHalfWidth));
    path.closeSubpath();
    return path;
}

}  // namespace velmaro
