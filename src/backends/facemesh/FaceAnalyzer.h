#pragma once

#include <filesystem>
#include <span>
#include <vector>

#include "backends/facemesh/CanonicalFace.h"
#include "backends/facemesh/Detector.h"
#include "backends/facemesh/FacePoints.h"
#include "backends/facemesh/FaceSearch.h"
#include "backends/facemesh/ImageView.h"
#include "backends/facemesh/LandmarkFinder.h"
#include "backends/facemesh/Pose.h"
#include "backends/facemesh/SteadySquare.h"

namespace velmaro::facemesh {

/// Everything that is measured of one face.
struct Face {
    /// The detector's, 0.5 to 1, of a face that is followed 0.3 to 1.
    float score = 0;
    /// The landmark network's, 0.5 to 1.
    float presence = 0;
    FacePoints points = {};
    Pose pose;
};

/// From a picture to its faces: where to look, detector, landmarks, pose. Allocates nothing once it
/// has seen a picture of the size. One thread at a time; of the pictures before nothing counts but
/// where a face was.
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

    /// Nothing of the pictures before counts any more.
    void forget() { search_.forget(); }

    /// How often a network looked at the last picture or a part of it.
    [[nodiscard]] int looks() const { return search_.looks() + landmarkLooks_; }

    /// The parts, for measuring.
    [[nodiscard]] Detector& detector() { return search_.detector(); }
    [[nodiscard]] LandmarkFinder& landmarkFinder() { return landmarkFinder_; }
    [[nodiscard]] const PoseEstimator& poseEstimator() const { return poseEstimator_; }

private:
    FaceAnalyzer(Detector detector, LandmarkFinder landmarkFinder, const CanonicalFace& face);

    std::span<const Face> follow(const ImageView& image, const Detection& detection);
    std::span<const Face> measure(const ImageView& image, std::span<const Detection> detections);
    bool isThereAgain(const ImageView& image, const Detection& detection,
                      const TurnedSquare& square, const Face& face);
    bool look(const ImageView& image, const TurnedSquare& square, Face& face);
    void finish(const Detection& detection, Face& face) const;

    FaceSearch search_;
    LandmarkFinder landmarkFinder_;
    PoseEstimator poseEstimator_;
    SteadySquare square_;
    std::vector<Face> faces_ = std::vector<Face>(kMaximumFaces);
    /// Of a face's second look, which nobody is told.
    Face again_;
    int landmarkLooks_ = 0;
};

}  // namespace velmaro::facemesh
