#include "backends/facemesh/LandmarkFinder.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "backends/facemesh/Light.h"

namespace velmaro::facemesh {
namespace {

constexpr std::size_t kCells = 192;
/// How much larger than the face the network expects its square.
constexpr float kMargin = 1.5F;
/// The outer corners of the eyes, on the picture's left and on its right.
constexpr std::size_t kLeftEyeCorner = 33;
constexpr std::size_t kRightEyeCorner = 263;

PixelPoint direction(float x, float y) {
    const float length = std::hypot(x, y);
    return length > 0 ? PixelPoint{x / length, y / length} : PixelPoint{1, 0};
}

}  // namespace

TurnedSquare squareAround(const Detection& detection) {
    return {detection.centre, kMargin * std::max(detection.width, detection.height),
            direction(detection.rightEye.x - detection.leftEye.x,
                      detection.rightEye.y - detection.leftEye.y)};
}

TurnedSquare squareAround(const FacePoints& points) {
    const auto [left, right] = std::ranges::minmax(points, {}, &FacePoint::x);
    const auto [top, bottom] = std::ranges::minmax(points, {}, &FacePoint::y);
    const FacePoint& from = points[kLeftEyeCorner];
    const FacePoint& to = points[kRightEyeCorner];
    return {{(left.x + right.x) / 2, (top.y + bottom.y) / 2},
            kMargin * std::max(right.x - left.x, bottom.y - top.y),
            direction(to.x - from.x, to.y - from.y)};
}

Result<LandmarkFinder> LandmarkFinder::create(networks::Model model) {
    if (model.tensors[model.inputs[0]].shape != networks::Shape{1, kCells, kCells, 3} ||
        model.outputs.size() != 2 ||
        model.tensors[model.outputs[0]].shape != networks::Shape{1, 1, 1, 3 * kFacePointCount} ||
        model.tensors[model.outputs[1]].shape != networks::Shape{1, 1, 1, 1}) {
        return failure("not the landmark model that this program knows");
    }
    return networks::NeuralNetwork::create(std::move(model))
        .map([](networks::NeuralNetwork&& network) { return LandmarkFinder(std::move(network)); });
}

LandmarkFinder::LandmarkFinder(networks::NeuralNetwork network) : network_(std::move(network)) {}

float LandmarkFinder::find(const ImageView& image, const TurnedSquare& square, FacePoints& points) {
    warp(image, square, kCells, network_.input());
    lighten(network_.input(), 0);
    if (!network_.run()) {
        return 0;
    }
    const std::span<const float> values = network_.output(0);
    const float scale = 1.0F / static_cast<float>(kCells);
    for (std::size_t i = 0; i < kFacePointCount; ++i) {
        const float* value = values.data() + 3 * i;
        const PixelPoint at = square.toImage(value[0] * scale, value[1] * scale);
        points[i] = {at.x, at.y, value[2] * scale * square.side};
    }
    return 1 / (1 + std::exp(-network_.output(1)[0]));
}

}  // namespace velmaro::facemesh
