#include "backends/facemesh/Portrait.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

namespace velmaro::testing {

Portrait::Portrait() {
    std::ifstream file(VELMARO_PORTRAIT, std::ios::binary);
    std::string magic;
    int maximum = 0;
    file >> magic >> width_ >> height_ >> maximum;
    file.get();
    rgb_.resize(std::size_t{3} * static_cast<std::size_t>(width_) *
                static_cast<std::size_t>(height_));
    file.read(reinterpret_cast<char*>(rgb_.data()), static_cast<std::streamsize>(rgb_.size()));
    if (!file || magic != "P6" || maximum != 255) {
        throw std::runtime_error("cannot read " VELMARO_PORTRAIT);
    }
}

void Portrait::paint(Frame& frame, double left, double top, double scale) const {
    // Pixels beyond it stay as they are.
    const auto first = [](double from) { return std::max(static_cast<int>(from), 0); };
    const int right = std::min(frame.width(), first(left + width_ * scale) + 1);
    const int bottom = std::min(frame.height(), first(top + height_ * scale) + 1);
    for (int y = first(top); y < bottom; ++y) {
        for (int x = first(left); x < right; ++x) {
            paintPixel(frame, x, y, left, top, scale);
        }
    }
}

void Portrait::paintPixel(Frame& frame, int x, int y, double left, double top, double scale) const {
    constexpr int kSamples = 4;
    int sum[3] = {};
    for (int i = 0; i < kSamples * kSamples; ++i) {
        const int row = i / kSamples;
        const double u = (x + (i % kSamples + 0.5) / kSamples - left) / scale;
        const double v = (y + (row + 0.5) / kSamples - top) / scale;
        if (u < 0 || v < 0 || u >= width_ || v >= height_) {
            return;
        }
        const auto from = 3 * (static_cast<std::size_t>(v) * static_cast<std::size_t>(width_) +
                               static_cast<std::size_t>(u));
        for (std::size_t channel = 0; channel < 3; ++channel) {
            sum[channel] += rgb_[from + channel];
        }
    }
    std::uint8_t* to = frame.pixel(x, y);
    for (int channel = 0; channel < 3; ++channel) {
        to[2 - channel] = static_cast<std::uint8_t>(sum[channel] / (kSamples * kSamples));
    }
    to[3] = 255;
}

}  // namespace velmaro::testing
