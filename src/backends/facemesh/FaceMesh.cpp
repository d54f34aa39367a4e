#include "backends/facemesh/FaceMesh.h"

#include <utility>
#include <vector>

#include "backends/facemesh/FaceAnalyzer.h"
#include "backends/facemesh/Observation.h"

namespace velmaro {

struct FaceMesh::Parts {
    explicit Parts(facemesh::FaceAnalyzer loaded) : analyzer(std::move(loaded)) {
        results.reserve(observations.size());
    }

    facemesh::FaceAnalyzer analyzer;
    std::array<facemesh::Observation, facemesh::FaceAnalyzer::kMaximumFaces> observations;
    std::vector<FaceObservation> results;
    /// The last picture's.
    std::uint64_t run = 0;
};

Result<std::unique_ptr<FaceMesh>> FaceMesh::create(const std::filesystem::path& models,
                                                   Telemetry* telemetry) {
    return facemesh::FaceAnalyzer::create(models)
        .map([telemetry](facemesh::FaceAnalyzer&& analyzer) {
            return std::unique_ptr<FaceMesh>(
                new FaceMesh(std::make_unique<Parts>(std::move(analyzer)), telemetry));
        })
        .map_error([](Error&& error) {
            error.localizedDescription = "The face models are missing or damaged.";
            return std::move(error);
        });
}

FaceMesh::FaceMesh(std::unique_ptr<Parts> parts, Telemetry* telemetry)
    : parts_(std::move(parts)), telemetry_(telemetry) {}

FaceMesh::~FaceMesh() = default;

bool FaceMesh::perform(const std::shared_ptr<const PixelBuffer>& image,
                       const Completion& completion) {
    if (!image || image->width() <= 0 || image->height() <= 0 ||
        image->bytesPerRow() < std::ptrdiff_t{4} * image->width()) {
        return false;
    }
    const ImageView view = image->view();
    if (!view.components[0].base) {
        return false;
    }
    if (std::exchange(parts_->run, image->run()) != image->run()) {
        parts_->analyzer.forget();
    }
    parts_->results.clear();
    for (const facemesh::Face& face : parts_->analyzer.analyze(view)) {
        facemesh::Observation& observation = parts_->observations[parts_->results.size()];
        parts_->results.push_back(
            observation.describe(face.points, face.pose.yaw, view.width, view.height));
    }
    if (telemetry_) {
        telemetry_->framesAnalysed.fetch_add(1, std::memory_order_relaxed);
        telemetry_->framesWithFace.fetch_add(parts_->results.empty() ? 0 : 1,
                                             std::memory_order_relaxed);
        telemetry_->networkRuns.fetch_add(static_cast<std::uint64_t>(parts_->analyzer.looks()),
                                          std::memory_order_relaxed);
    }
    completion(Results(parts_->results), std::nullopt);
    return true;
}

}  // namespace velmaro
