#include "backends/facemesh/SteadySquare.h"

#include <algorithm>
#include <cmath>

#include "backends/facemesh/Detector.h"
#include "backends/facemesh/LandmarkFinder.h"

namespace velmaro::facemesh {
namespace {

/// Of a difference below the first, as a share of the side, this much is taken over, of one beyond
/// the second all.
constexpr float kChance = 0.01F;
constexpr float kMovement = 0.11F;
constexpr float kLeastShare = 0.1F;
/// The scores below which the detector's box counts nothing, and from which on it counts alone.
constexpr float kUnsureScore = 0.55F;
constexpr float kCertainScore = 0.75F;

/// Centre, side and turn together, as a share of the side.
float difference(const TurnedSquare& a, const TurnedSquare& b) {
    return (std::hypot(a.centre.x - b.centre.x, a.centre.y - b.centre.y) +
            std::abs(a.side - b.side)) /
               b.side +
           std::abs(a.across.x * b.across.y - a.across.y * b.across.x);
}

TurnedSquare blend(const TurnedSquare& from, const TurnedSquare& to, float share) {
    if (share == 1) {
        return to;
    }
    const auto mix = [share](float a, float b) { return std::lerp(a, b, share); };
    const PixelPoint across = {mix(from.across.x, to.across.x), mix(from.across.y, to.across.y)};
    const float length = std::hypot(across.x, across.y);
    return {{mix(from.centre.x, to.centre.x), mix(from.centre.y, to.centre.y)},
            mix(from.side, to.side),
            length > 0 ? PixelPoint{across.x / length, across.y / length} : to.across};
}

}  // namespace

const TurnedSquare& SteadySquare::follow(const Detection& detection, const FacePoints& points) {
    const float sure =
        std::clamp((detection.score - kUnsureScore) / (kCertainScore - kUnsureScore), 0.0F, 1.0F);
    const TurnedSquare target = blend(squareAround(points), squareAround(detection), sure);
    const float change = difference(square_, target);
    if (change > 0) {
        const float share = (change - kChance) / (kMovement - kChance);
        square_ = blend(square_, target, std::clamp(share, kLeastShare, 1.0F));
    }
    return square_;
}

}  // namespace velmaro::facemesh
