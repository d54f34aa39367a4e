#include "backends/facemesh/Light.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>

#include "backends/facemesh/Vectorize.h"

namespace velmaro::facemesh {
namespace {

/// Of 1: how light it is to be, and by what factor it is lightened at most. Beyond it there is more
/// noise than face.
constexpr float kLeastMean = 0.2F;
constexpr float kMostGain = 16;
/// Sums and maxima side by side, since one alone would wait for itself at every step. The networks'
/// inputs are whole multiples.
constexpr std::size_t kLanes = 32;

struct Lanes {
    std::array<float, kLanes> sums = {};
    std::array<float, kLanes> peaks = {};
};

VELMARO_VECTORIZE
void measure(Lanes& lanes, const float* cells, std::size_t count, float black) {
    for (std::size_t i = 0; i + kLanes <= count; i += kLanes) {
        for (std::size_t k = 0; k < kLanes; ++k) {
            const float light = cells[i + k] - black;
            lanes.sums[k] += light;
            lanes.peaks[k] = lanes.peaks[k] > light ? lanes.peaks[k] : light;
        }
    }
}

VELMARO_VECTORIZE
void multiply(float* cells, std::size_t count, float black, float gain) {
    for (std::size_t i = 0; i < count; ++i) {
        cells[i] = black + gain * (cells[i] - black);
    }
}

}  // namespace

void lighten(std::span<float> cells, float black, float covered) {
    Lanes lanes;
    measure(lanes, cells.data(), cells.size(), black);
    const float white = 1 - black;
    const float sum = std::reduce(lanes.sums.begin(), lanes.sums.end());
    const float wanted = kLeastMean * white * covered * static_cast<float>(cells.size());
    const float peak = *std::ranges::max_element(lanes.peaks);
    if (!(sum > 0 && sum < wanted)) {
        return;
    }
    const float gain = std::min({wanted / sum, white / peak, kMostGain});
    if (gain > 1) {
        multiply(cells.data(), cells.size(), black, gain);
    }
}

}  // namespace velmaro::facemesh
