#pragma once

#include <QPainterPath>

namespace velmaro {

/// Of the gauge, in device-independent pixels.
inline constexpr double kGaugeSize = 120;
inline constexpr double kGaugeRadius = kGaugeSize / 2;

/// How far the wedge reaches from the centre: the full radius at tilt 0, 12 at 90 either way.
/// `tilt` in degrees.
[[nodiscard]] double wedgeLength(float tilt);

/// The slice of 60 degrees that points where the head does: up at pan 0, to the left at 90. In the
/// gauge's coordinates, y downward. Empty for angles that are no numbers. `pan`, `tilt` in degrees.
[[nodiscard]] QPainterPath wedgePath(float pan, float tilt);

}  // namespace velmaro
