#include "backends/facemesh/Detector.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "backends/facemesh/Light.h"

// The network's layout is that of its published description: see the BlazeFace paper and the
// model card "MediaPipe BlazeFace Short Range".

namespace velmaro::facemesh {
namespace {

constexpr std::size_t kSide = 128;
constexpr std::size_t kAnchorCount = 896;
/// Centre x, y, width, height, then x and y of six points, the two eyes first; in cells.
constexpr std::size_t kValuesPerAnchor = 16;
/// Boxes that overlap more than this, as intersection over union, are the same face.
constexpr float kSameFaceOverlap = 0.3F;

/// The centres of the anchors in cells: two a place on a grid of 16, six on a grid of 8.
std::vector<PixelPoint> makeAnchors() {
    std::vector<PixelPoint> anchors;
    const auto grid = [&anchors](int places, int perPlace) {
        const float step = static_cast<float>(kSide) / static_cast<float>(places);
        for (int place = 0; place < places * places; ++place) {
            const int row = place / places;
            const int column = place % places;
            const PixelPoint centre = {(static_cast<float>(column) + 0.5F) * step,
                                       (static_cast<float>(row) + 0.5F) * step};
            anchors.insert(anchors.end(), static_cast<std::size_t>(perPlace), centre);
        }
    };
    grid(16, 2);
    grid(8, 6);
    return anchors;
}

float overlap(const Detection& a, const Detection& b) {
    const float width = std::min(a.centre.x + a.width / 2, b.centre.x + b.width / 2) -
                        std::max(a.centre.x - a.width / 2, b.centre.x - b.width / 2);
    const float height = std::min(a.centre.y + a.height / 2, b.centre.y + b.height / 2) -
                         std::max(a.centre.y - a.height / 2, b.centre.y - b.height / 2);
    if (width <= 0 || height <= 0) {
        return 0;
    }
    const float both = width * height;
    return both / (a.width * a.height + b.width * b.height - both);
}

void add(PixelPoint& sum, const PixelPoint& point, float weight) {
    sum.x += weight * point.x;
    sum.y += weight * point.y;
}

PixelPoint operator/(const PixelPoint& point, float by) {
    return {point.x / by, point.y / by};
}

}  // namespace

Result<Detector> Detector::create(networks::Model model) {
    if (model.tensors[model.inputs[0]].shape != networks::Shape{1, kSide, kSide, 3} ||
        model.outputs.size() != 2 ||
        model.tensors[model.outputs[0]].shape !=
            networks::Shape{1, kAnchorCount, kValuesPerAnchor} ||
        model.tensors[model.outputs[1]].shape != networks::Shape{1, kAnchorCount, 1}) {
        return failure("not the face detector that this program knows");
    }
    return networks::NeuralNetwork::create(std::move(model))
        .map([](networks::NeuralNetwork&& network) { return Detector(std::move(network)); });
}

Detector::Detector(networks::NeuralNetwork network)
    : network_(std::move(network)), letterbox_(kSide), anchors_(makeAnchors()) {
    candidates_.reserve(kAnchorCount);
    merged_.reserve(kAnchorCount);
}

std::span<const Detection> Detector::detect(const ImageView& image, const Region& region,
                                            float least) {
    candidates_.clear();
    const Letterbox::Placement placement = letterbox_.fill(image, region, network_.input());
    const auto [shorter, longer] = std::minmax(region.width, region.height);
    lighten(network_.input(), -1, static_cast<float>(shorter) / static_cast<float>(longer));
    if (network_.run()) {
        decode(placement, least);
    }
    merge();
    return merged_;
}

void Detector::decode(const Letterbox::Placement& placement, float least) {
    const std::span<const float> values = network_.output(0);
    const std::span<const float> logits = network_.output(1);
    const auto scale = static_cast<float>(placement.pixelsPerCell);
    for (std::size_t i = 0; i < kAnchorCount; ++i) {
        const float score = 1 / (1 + std::exp(-logits[i]));
        // Written so that a score that is not a number is refused.
        if (!(score >= least)) {
            continue;
        }
        const float* value = values.data() + i * kValuesPerAnchor;
        const auto point = [&](std::size_t at) {
            return PixelPoint{
                static_cast<float>(placement.originX) + (anchors_[i].x + value[at]) * scale,
                static_cast<float>(placement.originY) + (anchors_[i].y + value[at + 1]) * scale};
        };
        const Detection detection = {score,    point(0), value[2] * scale, value[3] * scale,
                                     point(4), point(6)};
        if (detection.width > 0 && detection.height > 0) {
            candidates_.push_back(detection);
        }
    }
}

/// Non-maximum suppression that blends what it suppresses: the mean of the boxes of one face,
/// weighted by score, jitters less than the best one alone.
void Detector::merge() {
    merged_.clear();
    std::ranges::sort(candidates_, std::ranges::greater(), &Detection::score);
    while (!candidates_.empty()) {
        const Detection best = candidates_.front();
        Detection sum;
        float weights = 0;
        std::size_t kept = 0;
        for (const Detection& candidate : candidates_) {
            if (&candidate != &candidates_.front() &&
                !(overlap(best, candidate) > kSameFaceOverlap)) {
                candidates_[kept++] = candidate;
                continue;
            }
            // Where something sure is, what is unsure only blurs it.
            const float weight =
                candidate.score >= std::min(best.score, kLeastScore) ? candidate.score : 0;
            weights += weight;
            add(sum.centre, candidate.centre, weight);
            sum.width += weight * candidate.width;
            sum.height += weight * candidate.height;
            add(sum.leftEye, candidate.leftEye, weight);
            add(sum.rightEye, candidate.rightEye, weight);
        }
        merged_.push_back({best.score, sum.centre / weights, sum.width / weights,
                           sum.height / weights, sum.leftEye / weights, sum.rightEye / weights});
        candidates_.resize(kept);
    }
}

}  // namespace velmaro::facemesh
