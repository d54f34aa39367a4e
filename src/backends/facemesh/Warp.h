#pragma once

#include <cstddef>
#include <span>

#include "backends/facemesh/ImageView.h"

namespace velmaro::facemesh {

/// A square on a picture, in pixels, turned about its centre.
struct TurnedSquare {
    PixelPoint centre;
    float side = 0;
    /// The direction of its upper edge as a unit vector: (1, 0) when upright.
    PixelPoint across = {1, 0};

    /// From a place in the square, 0 to 1 from its upper left corner, to the picture.
    [[nodiscard]] PixelPoint toImage(float u, float v) const {
        const float x = (u - 0.5F) * side;
        const float y = (v - 0.5F) * side;
        return {centre.x + across.x * x - across.y * y, centre.y + across.y * x + across.x * y};
    }
};

/// Samples the square bilinearly into cells x cells x 3 numbers, red first, black as 0 and white
/// as 1. Beyond the picture its border goes on.
///
/// Made by hand for the same reason as Letterbox: straight from the camera's bytes to the network's
/// numbers, one row at a time, and nothing allocated.
void warp(const ImageView& image, const TurnedSquare& square, std::size_t cells,
          std::span<float> out);

}  // namespace velmaro::facemesh
