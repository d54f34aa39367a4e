#pragma once

#include "backends/facemesh/Detector.h"
#include "backends/facemesh/FacePoints.h"
#include "backends/facemesh/Warp.h"
#include "backends/networks/NeuralNetwork.h"

namespace velmaro::facemesh {

/// Where the landmark network shall look: around a detected face, upright by its eyes.
[[nodiscard]] TurnedSquare squareAround(const Detection& detection);

/// The same around landmarks that were found already.
[[nodiscard]] TurnedSquare squareAround(const FacePoints& points);

/// Finds the points of one face with the Face Landmark network. One thread at a time.
class LandmarkFinder {
public:
    /// Fails when the model is not a face landmark one of 468 points.
    [[nodiscard]] static Result<LandmarkFinder> create(networks::Model model);

    /// Writes the points and returns how likely the square shows a face, 0 to 1.
    float find(const ImageView& image, const TurnedSquare& square, FacePoints& points);

    /// The network alone, for measuring.
    [[nodiscard]] networks::NeuralNetwork& network() { return network_; }

private:
    explicit LandmarkFinder(networks::NeuralNetwork network);

    networks::NeuralNetwork network_;
};

}  // namespace velmaro::facemesh
