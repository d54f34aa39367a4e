#include "backends/facemesh/FaceAnalyzer.h"

#include <utility>

#include "backends/facemesh/ModelStore.h"
#include "backends/networks/Model.h"

namespace velmaro::facemesh {
namespace {

/// Below this the detector's box may be so far off that the landmarks are as well. A second look,
/// at where the first found the face, mends it.
constexpr float kCertainScore = 0.75F;

}  // namespace

Result<FaceAnalyzer> FaceAnalyzer::create(const std::filesystem::path& models) {
    const auto model = [&models](std::string_view name) {
        return loadModelFile(models, name).and_then(networks::readModel);
    };
    auto detector = model(kDetectorFile).and_then(Detector::create);
    if (!detector) {
        return tl::unexpected(detector.error());
    }
    auto landmarkFinder = model(kLandmarkFile).and_then(LandmarkFinder::create);
    if (!landmarkFinder) {
        return tl::unexpected(landmarkFinder.error());
    }
    return loadModelFile(models, kCanonicalFaceFile)
        .and_then(readCanonicalFace)
        .map([&](const CanonicalFace& face) {
            return FaceAnalyzer(std::move(*detector), std::move(*landmarkFinder), face);
        });
}

FaceAnalyzer::FaceAnalyzer(Detector detector, LandmarkFinder landmarkFinder,
                           const CanonicalFace& face)
    : detector_(std::move(detector)),
      landmarkFinder_(std::move(landmarkFinder)),
      poseEstimator_(face) {
    faces_.reserve(kMaximumFaces);
}

std::span<const Face> FaceAnalyzer::analyze(const ImageView& image) {
    faces_.clear();
    for (const Detection& detection : detector_.detect(image)) {
        if (faces_.size() == kMaximumFaces) {
            break;
        }
        Face& face = faces_.emplace_back();
        face.score = detection.score;
        face.presence = landmarkFinder_.find(image, squareAround(detection), face.points);
        if (face.score < kCertainScore && face.presence >= kMinimumPresence) {
            const TurnedSquare square = squareAround(face.points);
            face.presence = landmarkFinder_.find(image, square, face.points);
        }
        // Written so that a presence that is not a number is refused.
        if (!(face.presence >= kMinimumPresence)) {
            faces_.pop_back();
            continue;
        }
        face.pose = poseEstimator_.estimate(face.points);
    }
    return faces_;
}

}  // namespace velmaro::facemesh
