#include "receivers/Conversion.h"

#include <cmath>
#include <numbers>

namespace velmaro {
namespace {

constexpr double kRadiansPerDegree = std::numbers::pi / 180;

/// The head is turned by pan, then tilt, then roll, each about its own axis; the field by the
/// opposites in the opposite order: about x by -roll, times about y by tilt, times about z by pan.
ConvertedValues fieldQuaternion(std::span<const float, kAxes> angles) {
    const double halfPan = double{angles[0]} * kRadiansPerDegree / 2;
    const double halfTilt = double{angles[1]} * kRadiansPerDegree / 2;
    const double halfRoll = double{angles[2]} * kRadiansPerDegree / 2;
    const double cosPan = std::cos(halfPan);
    const double sinPan = std::sin(halfPan);
    const double cosTilt = std::cos(halfTilt);
    const double sinTilt = std::sin(halfTilt);
    const double cosRoll = std::cos(halfRoll);
    const double sinRoll = std::sin(halfRoll);
    return {{static_cast<float>(cosRoll * cosTilt * cosPan + sinRoll * sinTilt * sinPan),
             static_cast<float>(cosRoll * sinTilt * sinPan - sinRoll * cosTilt * cosPan),
             static_cast<float>(cosRoll * sinTilt * cosPan + sinRoll * cosTilt * sinPan),
             static_cast<float>(cosRoll * cosTilt * sinPan - sinRoll * sinTilt * cosPan)},
            4};
}

}  // namespace

ConvertedValues convert(std::span<const float, kAxes> angles, const Conversion& conversion) {
    std::array<float, kAxes> own{};
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
        // A difference, so that no axis at rest is sent as negative zero.
        own[axis] = conversion.flipped[axis] ? 0.0F - angles[axis] : angles[axis];
    }
    if (conversion.form == Conversion::Form::quaternion) {
        return fieldQuaternion(own);
    }
    ConvertedValues values;
    for (const Axis axis : conversion.order) {
        const float angle = own[static_cast<std::size_t>(axis)];
        values.numbers[values.count++] =
            conversion.radians ? static_cast<float>(angle * kRadiansPerDegree) : angle;
    }
    return values;
}

}  // namespace velmaro
