#pragma once

#include <Eigen/Geometry>
#include <cmath>
#include <numbers>

namespace velmaro::tests {

// Axes as of a sound field: x to the front, y to the left, z upward.

inline double radians(double degrees) {
    return degrees * std::numbers::pi / 180;
}

inline Eigen::Matrix3d turn(const Eigen::Vector3d& axis, double degrees) {
    return Eigen::AngleAxisd(radians(degrees), axis).toRotationMatrix();
}

/// From the head's directions to the world's: pan to the right, then tilt upward, then roll to the
/// right shoulder, each about the head's own axis.
inline Eigen::Matrix3d headAttitude(double pan, double tilt, double roll) {
    const Eigen::Vector3d down = -Eigen::Vector3d::UnitZ();
    const Eigen::Vector3d right = -Eigen::Vector3d::UnitY();
    const Eigen::Vector3d nose = Eigen::Vector3d::UnitX();
    return turn(down, pan) * turn(right, tilt) * turn(nose, roll);
}

/// Where a source is heard that stays in its place in the world: the head's turn undone.
inline Eigen::Matrix3d heardField(double pan, double tilt, double roll) {
    return headAttitude(pan, tilt, roll).transpose();
}

inline Eigen::Vector3d direction(double azimuth, double elevation) {
    return {std::cos(radians(azimuth)) * std::cos(radians(elevation)),
            std::sin(radians(azimuth)) * std::cos(radians(elevation)),
            std::sin(radians(elevation))};
}

/// Degrees between two directions.
inline double angleBetween(const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
    return std::atan2(a.cross(b).norm(), a.dot(b)) * 180 / std::numbers::pi;
}

}  // namespace velmaro::tests
