#pragma once

#include <filesystem>
#include <span>
#include <vector>

#include "backends/facemesh/CanonicalFace.h"
#include "backends/facemesh/Detector.h"
#include "backends/facemesh/FacePoints.h"
#include "backends/facemesh/ImageView.h"
#include "backends/facemesh/LandmarkFinder.h"
#include "backends/facemesh/Pose.h"

namespace velmaro::facemesh {

/// Everything that is measured of one face.
struct Face {
    /// The detector's, 0.5 to 1.
    float score = 0;
    /// The landmark network's, 0.5 to 1.
    float presence = 0;
    FacePoints points = {};
    Pose pose;
};

/// From a picture to its faces: detector, landmarks, pose. Allocates nothing once it has seen a
/// picture of the size. One thread at a time; nothing is kept from one picture to the next.
class FaceAnalyzer {
public:
    /// The least presence of a face.
    static constexpr float kMinimumPresence = 0.5F;
    /// Each costs as much as the first; the best ones are taken.
    static constexpr std::size_t kMaximumFaces = 4;

    /// Loads the models from a folder.
    [[nodiscard]] static Result<FaceAnalyzer> create(const std::filesystem::path& models);

    /// The faces, best first. Valid until the next call.
    std::span<const Face> analyze(const ImageView& image);

    /// The parts, for measuring.
    [[nodiscard]] Detector& detector() { return detector_; }
    [[nodiscard]] LandmarkFinder& landmarkFinder() { return landmarkFinder_; }
    [[nodiscard]] const PoseEstimator& poseEstimator() const { return poseEstimator_; }

private:
    FaceAnalyzer(Detector detector, LandmarkFinder landmarkFinder, const CanonicalFace& face);

    Detector detector_;
    LandmarkFinder landmarkFinder_;
    PoseEstimator poseEstimator_;
    std::vector<Face> faces_;
};

}  // namespace velmaro::facemesh
