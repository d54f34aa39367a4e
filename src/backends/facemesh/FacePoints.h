#pragma once

#include <array>
#include <cstddef>

namespace velmaro::facemesh {

/// The points of the MediaPipe face mesh, which its canonical face numbers.
inline constexpr std::size_t kFacePointCount = 468;

/// A point of a face in pixels of the picture; z grows away from the camera, on the same scale,
/// from a plane through the head.
struct FacePoint {
    float x = 0;
    float y = 0;
    float z = 0;
};

using FacePoints = std::array<FacePoint, kFacePointCount>;

}  // namespace velmaro::facemesh
