#pragma once

namespace velmaro {

/// An orientation in the order in which it is sent.
struct OrientationQuaternion {
    float w = 1;
    float x = 0;
    float y = 0;
    float z = 0;
};

/// The unit quaternion of `pan` about z and then `tilt` about y, both in degrees, without roll.
/// Evaluated in single precision with the pi that receivers have always been sent: 3.1415925, one
/// unit in the last place below the nearest; see docs/behaviour.md. Pure.
[[nodiscard]] OrientationQuaternion orientationQuaternion(float pan, float tilt);

}  // namespace velmaro
