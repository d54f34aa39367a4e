#pragma once

#include <cmath>

#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Every order of evaluation here is fixed: see docs/behaviour.md.

/// Three rotations that make up an attitude, applied in the order z, y, x (intrinsic), in radians.
struct TaitBryan {
    /// About z, -pi to pi.
    double yaw = 0;
    /// About y, -pi/2 to pi/2, or NaN.
    double pitch = 0;
    /// About x, -pi to pi.
    double roll = 0;
};

/// Equal as doubles, member by member: +0 equals -0, and NaN equals nothing.
constexpr bool operator==(const CMQuaternion& a, const CMQuaternion& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.w == b.w;
}

/// The Hamilton product, `a` on the left. The order of the terms and their separate roundings are
/// fixed: values that were stored or recorded must come out the same everywhere.
constexpr CMQuaternion operator*(const CMQuaternion& a, const CMQuaternion& b) {
    return {
        .x = ((a.w * b.x + a.x * b.w) + a.y * b.z) - a.z * b.y,
        .y = ((a.w * b.y - a.x * b.z) + a.y * b.w) + a.z * b.x,
        .z = ((a.x * b.y + a.w * b.z) - a.y * b.x) + a.z * b.w,
        .w = ((a.w * b.w - a.x * b.x) - a.y * b.y) - a.z * b.z,
    };
}

/// The inverse of a unit quaternion; nothing is normalised.
constexpr CMQuaternion conjugate(const CMQuaternion& q) {
    return {-q.x, -q.y, -q.z, q.w};
}

/// The angles of `q`. Pitch is NaN when |y w - x z| exceeds 0.5, which only a quaternion that is
/// not of unit length, or rounding at straight up or down, can do: the limit stands before the
/// doubling, so that it does not hide such a quaternion.
inline TaitBryan toTaitBryan(const CMQuaternion& q) {
    double halfSine = q.y * q.w - q.x * q.z;
    if (halfSine > 1) {
        halfSine = 1;
    } else if (halfSine <= -1) {
        halfSine = -1;
    }
    return {
        .yaw = std::atan2(2 * (q.x * q.y + q.z * q.w), 1 - 2 * (q.y * q.y + q.z * q.z)),
        .pitch = std::asin(2 * halfSine),
        .roll = std::atan2(2 * (q.y * q.z + q.x * q.w), 1 - 2 * (q.x * q.x + q.y * q.y)),
    };
}

}  // namespace velmaro
