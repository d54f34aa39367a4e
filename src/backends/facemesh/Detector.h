#pragma once

#include <span>
#include <vector>

#include "backends/facemesh/ImageView.h"
#include "backends/facemesh/Letterbox.h"
#include "backends/networks/Network.h"

namespace velmaro::facemesh {

/// Where a face may be, in pixels of the whole picture.
struct Detection {
    /// From 0 to 1.
    float score = 0;
    PixelPoint centre;
    float width = 0;
    float height = 0;
    /// The eye on the picture's left, and the other one, of an upright face.
    PixelPoint leftEye;
    PixelPoint rightEye;
};

/// Finds faces with the BlazeFace short-range network. One thread at a time.
class Detector {
public:
    /// The least score of a face.
    static constexpr float kMinimumScore = 0.5F;

    /// Fails when the model is not a BlazeFace short-range one.
    [[nodiscard]] static Result<Detector> create(networks::Model model);

    /// The faces, highest score first. The whole picture is searched in one go, which misses faces
    /// narrower than about a ninth of it; when it shows nobody, overlapping
    /// square parts follow until one shows somebody. Valid until the next call.
    std::span<const Detection> detect(const ImageView& image);

    /// The network alone, for measuring.
    [[nodiscard]] networks::Network& network() { return network_; }

private:
    explicit Detector(networks::Network network);

    void search(const ImageView& image, const Region& region);
    void searchParts(const ImageView& image);
    void merge();

    networks::Network network_;
    Letterbox letterbox_;
    std::vector<PixelPoint> anchors_;
    std::vector<Detection> candidates_;
    std::vector<Detection> merged_;
};

}  // namespace velmaro::facemesh
