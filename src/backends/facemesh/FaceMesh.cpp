#include "backends/facemesh/FaceMesh.h"

#include <utility>
#include <vector>

#include "backends/facemesh/FaceAnalyzer.h"
#include "backends/facemesh/Observation.h"
#include "backends/networks/ModelError.h"

namespace velmaro {

struct FaceMesh::Parts {
    explicit Parts(const std::filesystem::path& models) : analyzer(models) {
        results.reserve(observations.size());
    }

    facemesh::FaceAnalyzer analyzer;
    std::array<facemesh::Observation, facemesh::FaceAnalyzer::maximumFaces> observations;
    std::vector<FaceObservation> results;
};

std::variant<std::unique_ptr<FaceMesh>, Error> FaceMesh::create(const std::filesystem::path& models,
                                                                Telemetry* telemetry) {
    try {
        return std::unique_ptr<FaceMesh>(new FaceMesh(std::make_unique<Parts>(models), telemetry));
    } catch (const networks::ModelError& error) {
        return Error{error.what(), "The face models are missing or damaged."};
    }
}

FaceMesh::FaceMesh(std::unique_ptr<Parts> parts, Telemetry* telemetry)
    : parts_(std::move(parts)), telemetry_(telemetry) {}

FaceMesh::~FaceMesh() = default;

bool FaceMesh::perform(const std::shared_ptr<const PixelBuffer>& image,
                       const Completion& completion) {
    if (!image || !image->baseAddress() || image->width() <= 0 || image->height() <= 0 ||
        image->bytesPerRow() < std::ptrdiff_t{4} * image->width()) {
        return false;
    }
    const facemesh::ImageView view = {reinterpret_cast<const std::uint8_t*>(image->baseAddress()),
                                      image->bytesPerRow(), image->width(), image->height()};
    parts_->results.clear();
    for (const facemesh::Face& face : parts_->analyzer.analyze(view)) {
        facemesh::Observation& observation = parts_->observations[parts_->results.size()];
        parts_->results.push_back(
            observation.describe(face.points, face.pose.yaw, view.width, view.height));
    }
    if (telemetry_) {
        telemetry_->framesAnalysed.fetch_add(1, std::memory_order_relaxed);
    }
    completion(Results(parts_->results), std::nullopt);
    return true;
}

}  // namespace velmaro
