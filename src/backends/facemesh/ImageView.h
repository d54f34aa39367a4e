#pragma once

#include <cstddef>
#include <cstdint>

namespace velmaro::facemesh {

/// Somebody else's BGRA picture, first row on top. Coordinates in it are in pixels, from the top
/// left corner, y downward; pixel (0, 0) covers 0 to 1.
struct ImageView {
    const std::uint8_t* base = nullptr;
    std::ptrdiff_t bytesPerRow = 0;
    int width = 0;
    int height = 0;

    [[nodiscard]] const std::uint8_t* row(int y) const { return base + y * bytesPerRow; }
};

/// A part of a picture, in whole pixels and inside it.
struct Region {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

struct PixelPoint {
    float x = 0;
    float y = 0;
};

}  // namespace velmaro::facemesh
