#pragma once

#include <array>
#include <vector>

#include "backends/facemesh/CanonicalFace.h"
#include "backends/facemesh/FacePoints.h"

namespace velmaro::facemesh {

/// Where a head points, in radians, applied in the order roll, pitch, yaw.
struct Pose {
    /// Positive when the nose points to the picture's right.
    double yaw = 0;
    /// Positive when the nose points up.
    double pitch = 0;
    /// Positive when the head leans to the picture's left: anticlockwise.
    double roll = 0;
};

/// A yaw, in radians, without what the landmarks make of it: the further a head turns away, the
/// more of the turn they lack. An odd cubic, fitted on photographs with measured pose, half of
/// them, and tried on the others; it ends at a quarter turn.
[[nodiscard]] double straightenedYaw(double yaw);

/// Fits the canonical face to found points. The camera is taken as far away (weak perspective),
/// so no focal length enters.
class PoseEstimator {
public:
    explicit PoseEstimator(const CanonicalFace& face);

    [[nodiscard]] Pose estimate(const FacePoints& points) const;

private:
    struct Reference {
        std::size_t point = 0;
        /// From the weighted centroid, times the weight.
        std::array<double, 3> arm = {};
    };
    std::vector<Reference> references_;
};

}  // namespace velmaro::facemesh
