#include "backends/facemesh/FaceAnalyzer.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "backends/facemesh/ModelStore.h"
#include "backends/networks/Model.h"

namespace velmaro::facemesh {
namespace {

/// Below this a newly found face's box may be so far off that the landmarks are as well. A second
/// look, at where the first found the face, mends it.
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
    : search_(std::move(detector)),
      landmarkFinder_(std::move(landmarkFinder)),
      poseEstimator_(face) {}

std::span<const Face> FaceAnalyzer::analyze(const ImageView& image) {
    landmarkLooks_ = 0;
    const std::span<const Detection> detections = search_.search(image);
    const std::span<const Face> found =
        search_.follows() ? follow(image, detections.front()) : measure(image, detections);
    if (found.empty() && !detections.empty()) {
        search_.reject();
    }
    return found;
}

std::span<const Face> FaceAnalyzer::follow(const ImageView& image, const Detection& detection) {
    Face& face = faces_.front();
    if (!look(image, square_.follow(detection, face.points), face)) {
        return {};
    }
    finish(detection, face);
    search_.confirm(detection);
    return {&face, 1};
}

/// Faces that were not there before, or not followed.
std::span<const Face> FaceAnalyzer::measure(const ImageView& image,
                                            std::span<const Detection> detections) {
    // A further look overwrites what the detector has found.
    std::array<Detection, kMaximumFaces> best;
    const std::size_t size = std::min(detections.size(), best.size());
    std::ranges::copy(detections.first(size), best.begin());
    std::size_t count = 0;
    for (const Detection& detection : std::span(best).first(size)) {
        Face& face = faces_[count];
        TurnedSquare square = squareAround(detection);
        bool isFace = look(image, square, face);
        if (isFace && detection.score < kCertainScore) {
            square = squareAround(face.points);
            isFace = look(image, square, face);
        }
        if (!isFace || (count == 0 && !isThereAgain(image, detection, square, face))) {
            continue;
        }
        finish(detection, face);
        if (++count == 1) {
            square_.begin(square);
            search_.confirm(detection);
        }
    }
    return std::span(faces_).first(count);
}

/// Whether a new face is one where the next picture would be searched for it, too: animals and
/// things that one look takes for a face are seldom taken for one twice.
bool FaceAnalyzer::isThereAgain(const ImageView& image, const Detection& detection,
                                const TurnedSquare& square, const Face& face) {
    const std::optional<Detection> again = search_.lookAgain(image, detection);
    if (!again) {
        return false;
    }
    SteadySquare next;
    next.begin(square);
    return look(image, next.follow(*again, face.points), again_);
}

bool FaceAnalyzer::look(const ImageView& image, const TurnedSquare& square, Face& face) {
    ++landmarkLooks_;
    face.presence = landmarkFinder_.find(image, square, face.points);
    // Written so that a presence that is not a number is refused.
    return face.presence >= kMinimumPresence;
}

void FaceAnalyzer::finish(const Detection& detection, Face& face) const {
    face.score = detection.score;
    face.pose = poseEstimator_.estimate(face.points);
    face.pose.yaw = straightenedYaw(face.pose.yaw);
}

}  // namespace velmaro::facemesh
