#include "app/OrientationQuaternion.h"

#include <cmath>

namespace velmaro {
namespace {

constexpr float kPi = 3.1415925F;

}  // namespace

OrientationQuaternion orientationQuaternion(float pan, float tilt) {
    const float halfPan = pan * kPi / 180.0F * 0.5F;
    const float halfTilt = tilt * kPi / 180.0F * 0.5F;
    const float sinPan = std::sin(halfPan);
    const float cosPan = std::cos(halfPan);
    const float sinTilt = std::sin(halfTilt);
    const float cosTilt = std::cos(halfTilt);
    return {.w = cosPan * cosTilt,
            .x = -(sinTilt * sinPan),
            .y = cosPan * sinTilt,
            .z = sinPan * cosTilt};
}

}  // namespace velmaro
