#pragma once

#include <array>

#include "backends/facemesh/FacePoints.h"
#include "platform/FaceLandmarks.h"

namespace velmaro::facemesh {

/// The mesh points of the regions, in the order in which they are reported. Of the nose the fourth
/// is its tip. "Left" is the picture's left.
inline constexpr std::array<std::size_t, 6> kNoseCrestPoints = {168, 197, 5, 4, 1, 2};
inline constexpr std::array<std::size_t, 16> kLeftEyePoints = {
    33, 7, 163, 144, 145, 153, 154, 155, 133, 173, 157, 158, 159, 160, 161, 246};
inline constexpr std::array<std::size_t, 16> kRightEyePoints = {
    362, 382, 381, 380, 374, 373, 390, 249, 263, 466, 388, 387, 386, 385, 384, 398};

/// A face as the door reports it, with the memory that its regions point into.
class Observation {
public:
    /// Describes a face in a picture of width x height pixels.
    const FaceObservation& describe(const FacePoints& points, double yaw, int width, int height);

private:
    FaceObservation face_;
    std::array<Point, kNoseCrestPoints.size()> noseCrest_;
    std::array<Point, kLeftEyePoints.size()> leftEye_;
    std::array<Point, kRightEyePoints.size()> rightEye_;
};

}  // namespace velmaro::facemesh
