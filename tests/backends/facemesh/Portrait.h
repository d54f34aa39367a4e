#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/PixelBuffer.h"

namespace velmaro::testing {

/// A picture in memory that tests paint on. Rows may be longer than their pixels.
class Frame final : public PixelBuffer {
public:
    Frame(int width, int height, std::uint8_t grey = 90, int extraBytesPerRow = 0)
        : width_(width),
          height_(height),
          bytesPerRow_(4 * width + extraBytesPerRow),
          bytes_(static_cast<std::size_t>(bytesPerRow_) * static_cast<std::size_t>(height), grey) {}

    [[nodiscard]] int width() const override { return width_; }
    [[nodiscard]] int height() const override { return height_; }
    [[nodiscard]] std::ptrdiff_t bytesPerRow() const override { return bytesPerRow_; }
    [[nodiscard]] const std::byte* baseAddress() const override {
        return reinterpret_cast<const std::byte*>(bytes_.data());
    }

    [[nodiscard]] std::uint64_t run() const override { return run_; }
    void setRun(std::uint64_t run) { run_ = run; }

    [[nodiscard]] std::uint8_t* pixel(int x, int y) {
        return bytes_.data() + static_cast<std::ptrdiff_t>(y) * bytesPerRow_ +
               std::ptrdiff_t{4} * x;
    }

private:
    int width_;
    int height_;
    int bytesPerRow_;
    std::uint64_t run_ = 0;
    std::vector<std::uint8_t> bytes_;
};

/// The portrait, 512 x 600. In it the face's box is about 200 wide, with its centre at (263, 232).
class Portrait {
public:
    static constexpr double kFaceX = 263;
    static constexpr double kFaceY = 232;
    static constexpr double kFaceSide = 200;

    Portrait() {
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

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    /// Paints the portrait, `scale` times as large, with its upper left corner at (left, top).
    void paint(Frame& frame, double left, double top, double scale) const {
        for (int y = 0; y < frame.height(); ++y) {
            for (int x = 0; x < frame.width(); ++x) {
                paintPixel(frame, x, y, left, top, scale);
            }
        }
    }

    /// A frame with the face's centre at (x, y) and its box `side` wide.
    [[nodiscard]] Frame frame(int width, int height, double x, double y, double side) const {
        Frame frame(width, height);
        const double scale = side / kFaceSide;
        paint(frame, x - kFaceX * scale, y - kFaceY * scale, scale);
        return frame;
    }

private:
    void paintPixel(Frame& frame, int x, int y, double left, double top, double scale) const {
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

    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> rgb_;
};

}  // namespace velmaro::testing
