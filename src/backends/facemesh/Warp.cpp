#include "backends/facemesh/Warp.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "backends/facemesh/Vectorize.h"

namespace velmaro::facemesh {
namespace {

using Byte4 = std::uint8_t __attribute__((vector_size(4)));

inline Float4 pixel(const std::uint8_t* from) {
    Byte4 value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_convertvector(value, Float4);
}

inline Float4 blend(const std::uint8_t* upperLeft, const std::uint8_t* upperRight,
                    const std::uint8_t* lowerLeft, const std::uint8_t* lowerRight, float fx,
                    float fy) {
    const Float4 left = pixel(upperLeft);
    const Float4 upper = left + fx * (pixel(upperRight) - left);
    const Float4 lowerStart = pixel(lowerLeft);
    const Float4 lower = lowerStart + fx * (pixel(lowerRight) - lowerStart);
    return (upper + fy * (lower - upper)) * (1.0F / 255);
}

inline void store(float* out, Float4 bgra) {
    out[0] = bgra[2];
    out[1] = bgra[1];
    out[2] = bgra[0];
}

/// One row of cells whose samples all lie inside the picture.
VELMARO_VECTORIZE
void sampleInside(const ImageView& image, PixelPoint at, PixelPoint step, std::size_t cells,
                  float* out) {
    for (std::size_t i = 0; i < cells; ++i) {
        const float x = at.x + step.x * static_cast<float>(i);
        const float y = at.y + step.y * static_cast<float>(i);
        const int column = static_cast<int>(x);
        const int row = static_cast<int>(y);
        const std::uint8_t* upper = image.row(row) + 4 * column;
        const std::uint8_t* lower = upper + image.bytesPerRow;
        store(out + 3 * i, blend(upper, upper + 4, lower, lower + 4, x - static_cast<float>(column),
                                 y - static_cast<float>(row)));
    }
}

void sampleAnywhere(const ImageView& image, PixelPoint at, PixelPoint step, std::size_t cells,
                    float* out) {
    const auto right = static_cast<float>(image.width - 1);
    const auto bottom = static_cast<float>(image.height - 1);
    for (std::size_t i = 0; i < cells; ++i) {
        const float x = std::clamp(at.x + step.x * static_cast<float>(i), 0.0F, right);
        const float y = std::clamp(at.y + step.y * static_cast<float>(i), 0.0F, bottom);
        const int column = static_cast<int>(x);
        const int row = static_cast<int>(y);
        const std::ptrdiff_t toRight = column + 1 < image.width ? 4 : 0;
        const std::uint8_t* upper = image.row(row) + 4 * static_cast<std::ptrdiff_t>(column);
        const std::uint8_t* lower = upper + (row + 1 < image.height ? image.bytesPerRow : 0);
        store(out + 3 * i, blend(upper, upper + toRight, lower, lower + toRight,
                                 x - static_cast<float>(column), y - static_cast<float>(row)));
    }
}

}  // namespace

void warp(const ImageView& image, const TurnedSquare& square, std::size_t cells,
          std::span<float> out) {
    const float cell = square.side / static_cast<float>(cells);
    const PixelPoint step = {square.across.x * cell, square.across.y * cell};
    // A pixel's value stands at its middle, hence the half.
    const auto inside = [&image](PixelPoint point) {
        return point.x >= 0 && point.y >= 0 && point.x < static_cast<float>(image.width - 2) &&
               point.y < static_cast<float>(image.height - 2);
    };
    for (std::size_t j = 0; j < cells; ++j) {
        const float v = (static_cast<float>(j) + 0.5F) / static_cast<float>(cells);
        PixelPoint at = square.toImage(0.5F / static_cast<float>(cells), v);
        at = {at.x - 0.5F, at.y - 0.5F};
        const auto length = static_cast<float>(cells - 1);
        const PixelPoint end = {at.x + step.x * length, at.y + step.y * length};
        (inside(at) && inside(end) ? sampleInside : sampleAnywhere)(image, at, step, cells,
                                                                    out.data() + j * cells * 3);
    }
}

}  // namespace velmaro::facemesh
