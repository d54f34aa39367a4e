#include "backends/facemesh/Observation.h"

#include <algorithm>

namespace velmaro::facemesh {

const FaceObservation& Observation::describe(const FacePoints& points, double yaw, int width,
                                             int height) {
    const auto [left, right] = std::ranges::minmax(points, {}, &FacePoint::x);
    const auto [top, bottom] = std::ranges::minmax(points, {}, &FacePoint::y);
    // A square in pixels: tilt is read from proportions within the box, which would otherwise
    // change as a turned face gets narrower.
    const double side = std::max(right.x - left.x, bottom.y - top.y);
    const double x = (static_cast<double>(left.x) + right.x - side) / 2;
    const double lower = (static_cast<double>(top.y) + bottom.y + side) / 2;

    const auto fill = [&](auto& region, const auto& indexes) {
        std::ranges::transform(indexes, region.begin(), [&](std::size_t index) {
            const FacePoint& point = points[index];
            return Point{(point.x - x) / side, (lower - point.y) / side};
        });
    };
    fill(noseCrest_, kNoseCrestPoints);
    fill(leftEye_, kLeftEyePoints);
    fill(rightEye_, kRightEyePoints);

    face_.boundingBox = {x / width, 1 - lower / height, side / width, side / height};
    face_.landmarks = FaceRegions{noseCrest_, leftEye_, rightEye_};
    face_.yaw = yaw;
    return face_;
}

}  // namespace velmaro::facemesh
