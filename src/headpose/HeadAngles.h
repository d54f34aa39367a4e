#pragma once

#include <string>

#include "platform/FaceLandmarks.h"

namespace velmaro {

/// Every constant and order of evaluation here is fixed: see docs/behaviour.md.

/// Degrees. Pan is positive when the nose points to the image's right, tilt when it points down.
struct HeadAngles {
    float pan = 0;
    float tilt = 0;
};

/// Half-width of the band around level in which tilt reads zero, in degrees.
inline constexpr float kTiltDeadZone = 15.0F;

/// `value` held to [-limit, limit]. A not-a-number gives `limit`, since minimum and maximum ignore
/// such an operand.
[[nodiscard]] float clampAngle(float value, float limit);

/// The unsmoothed angles of one face in an image of `width` x `height` pixels, in degrees and not
/// clamped: yaw, box position and the nose against the eyes. Zero for both when one of the three
/// regions is absent; nothing when one of them holds no points. Pure; any thread.
[[nodiscard]] std::optional<HeadAngles> rawHeadAngles(const FaceObservation& face,
                                                      const FaceRegions& regions, int width,
                                                      int height);

/// `smoothedTilt` less the dead zone, which shrinks the range and does not cut it: 20 gives 5,
/// -15 gives negative zero. Degrees; pure.
[[nodiscard]] float applyTiltDeadZone(float smoothedTilt);

/// The shortest decimal form that reads back to the same value, always with a fractional part.
[[nodiscard]] std::string shortestDecimal(float value);

}  // namespace velmaro
