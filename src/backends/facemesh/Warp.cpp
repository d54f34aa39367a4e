#include "backends/facemesh/Warp.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velmaro::facemesh {
namespace {

/// Blends four pixels into one cell.
inline void store(float* out, const std::uint8_t* upperLeft, const std::uint8_t* upperRight,
                  const std::uint8_t* lowerLeft, const std::uint8_t* lowerRight, float fx,
                  float fy) {
    for (int channel = 0; channel < 3; ++channel) {
        const auto mix = [fx, channel](const std::uint8_t* left, const std::uint8_t* right) {
            const auto from = static_cast<float>(left[2 - channel]);
            return from + fx * (static_cast<float>(right[2 - channel]) - from);
        };
        const float upper = mix(upperLeft, upperRight);
        const float lower = mix(lowerLeft, lowerRight);
        out[channel] = (upper + fy * (lower - upper)) * (1.0F / 255);
    }
}

/// Bits of the fraction of a fixed-point coordinate.
constexpr int kFractionBits = 32;

struct FixedPoint {
    std::int64_t x = 0;
    std::int64_t y = 0;
};

FixedPoint toFixed(PixelPoint point) {
    constexpr double kOne = std::int64_t{1} << kFractionBits;
    return {static_cast<std::int64_t>(point.x * kOne), static_cast<std::int64_t>(point.y * kOne)};
}

#if defined(__SSE2__)

/// The weights of an upper and a lower pixel add up to this, the most that the sum of two signed
/// 16-bit products leaves room for.
constexpr int kWeightBits = 14;

/// Two pixels side by side, 8 bits a channel, as 16 bits a channel.
inline __m128i pair(const std::uint8_t* from) {
    std::int64_t both = 0;
    std::memcpy(&both, from, sizeof both);
    return _mm_unpacklo_epi8(_mm_cvtsi64_si128(both), _mm_setzero_si128());
}

/// One row of cells whose samples, and one pixel right of and below each, lie inside the picture.
/// May write a fourth number after the row's last cell.
void sampleInside(const ImageView& image, FixedPoint at, FixedPoint step, std::size_t cells,
                  float* out) {
    const __m128 scale = _mm_set1_ps(1.0F / (255 << kWeightBits));
    for (std::size_t i = 0; i < cells; ++i, at.x += step.x, at.y += step.y, out += 3) {
        const std::uint8_t* from =
            image.row(static_cast<int>(at.y >> kFractionBits)) + 4 * (at.x >> kFractionBits);
        const __m128i upper = pair(from);
        const __m128i lower = pair(from + image.bytesPerRow);
        const auto fy = static_cast<int>(static_cast<std::uint32_t>(at.y) >> (32 - kWeightBits));
        const __m128i weights = _mm_set1_epi32((fy << 16) | ((1 << kWeightBits) - fy));
        const __m128 left =
            _mm_cvtepi32_ps(_mm_madd_epi16(_mm_unpacklo_epi16(upper, lower), weights));
        const __m128 right =
            _mm_cvtepi32_ps(_mm_madd_epi16(_mm_unpackhi_epi16(upper, lower), weights));
        const __m128 fx = _mm_set1_ps(
            static_cast<float>(static_cast<std::int32_t>(static_cast<std::uint32_t>(at.x) >> 1)) *
            0x1p-31F);
        const __m128 bgra =
            _mm_mul_ps(_mm_add_ps(left, _mm_mul_ps(fx, _mm_sub_ps(right, left))), scale);
        _mm_storeu_ps(out, _mm_shuffle_ps(bgra, bgra, _MM_SHUFFLE(3, 0, 1, 2)));
    }
}

#else

void sampleInside(const ImageView& image, FixedPoint at, FixedPoint step, std::size_t cells,
                  float* out) {
    for (std::size_t i = 0; i < cells; ++i, at.x += step.x, at.y += step.y, out += 3) {
        const std::uint8_t* from =
            image.row(static_cast<int>(at.y >> kFractionBits)) + 4 * (at.x >> kFractionBits);
        const std::uint8_t* below = from + image.bytesPerRow;
        const float fx = static_cast<float>(static_cast<std::uint32_t>(at.x)) * 0x1p-32F;
        const float fy = static_cast<float>(static_cast<std::uint32_t>(at.y)) * 0x1p-32F;
        store(out, from, from + 4, below, below + 4, fx, fy);
    }
}

#endif

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
        store(out + 3 * i, upper, upper + toRight, lower, lower + toRight,
              x - static_cast<float>(column), y - static_cast<float>(row));
    }
}

}  // namespace

void warp(const ImageView& image, const TurnedSquare& square, std::size_t cells,
          std::span<float> out) {
    const float cell = square.side / static_cast<float>(cells);
    const PixelPoint step = {square.across.x * cell, square.across.y * cell};
    // A pixel's value stands at its middle, hence the half.
    const auto inside = [&image](PixelPoint point) {
        return point.x >= 0.01F && point.y >= 0.01F &&
               point.x < static_cast<float>(image.width - 2) &&
               point.y < static_cast<float>(image.height - 2);
    };
    const auto length = static_cast<float>(cells - 1);
    for (std::size_t j = 0; j < cells; ++j) {
        const float v = (static_cast<float>(j) + 0.5F) / static_cast<float>(cells);
        PixelPoint at = square.toImage(0.5F / static_cast<float>(cells), v);
        at = {at.x - 0.5F, at.y - 0.5F};
        const PixelPoint end = {at.x + step.x * length, at.y + step.y * length};
        float* row = out.data() + j * cells * 3;
        // The last row is left to the careful function, since the fast one writes beyond it.
        if (inside(at) && inside(end) && j + 1 < cells) {
            sampleInside(image, toFixed(at), toFixed(step), cells, row);
        } else {
            sampleAnywhere(image, at, step, cells, row);
        }
    }
}

}  // namespace velmaro::facemesh
