#pragma once

#include <span>
#include <vector>

#include "backends/facemesh/ImageView.h"
#include "backends/facemesh/Letterbox.h"
#include "backends/networks/NeuralNetwork.h"

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

/// The least score of a face that is taken for one.
inline constexpr float kLeastScore = 0.5F;

/// Finds faces with the BlazeFace short-range network. One thread at a time.
class Detector {
public:
    /// Fails when the model is not a BlazeFace short-range one.
    [[nodiscard]] static Result<Detector> create(networks::Model model);

    /// The faces in one part of a picture whose score is at least `least`, highest first. Misses
    /// faces narrower than about a ninth of the part. Valid until the next call.
    std::span<const Detection> detect(const ImageView& image, const Region& region,
                                      float least = kLeastScore);

    /// The network alone, for measuring.
    [[nodiscard]] networks::NeuralNetwork& network() { return network_; }

private:
    explicit Detector(networks::NeuralNetwork network);

    void decode(const Letterbox::Placement& placement, float least);
    void merge();

    networks::NeuralNetwork network_;
    Letterbox letterbox_;
    std::vector<PixelPoint> anchors_;
    std::vector<Detection> candidates_;
    std::vector<Detection> merged_;
};

}  // namespace velmaro::facemesh
