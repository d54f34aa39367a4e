#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "backends/facemesh/FacePoints.h"
#include "platform/Result.h"

namespace velmaro::facemesh {

/// The face that poses are measured against: centimetres, x to the picture's right when it looks
/// at the camera, y up, z toward the camera.
struct CanonicalFace {
    std::array<std::array<double, 3>, kFacePointCount> points = {};

    /// The points that move least with the face's expression, and how much they count.
    struct Weight {
        std::size_t point = 0;
        double weight = 0;
    };
    std::vector<Weight> weights;
};

/// Reads the metadata of the face geometry, a protocol buffer. Fails when damaged.
[[nodiscard]] Result<CanonicalFace> readCanonicalFace(std::span<const std::byte> file);

}  // namespace velmaro::facemesh
