#pragma once

#include <cstddef>
#include <cstdint>
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

    Portrait();

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    /// Paints the portrait, `scale` times as large, with its upper left corner at (left, top).
    void paint(Frame& frame, double left, double top, double scale) const;

    /// A frame with the face's centre at (x, y) and its box `side` wide.
    [[nodiscard]] Frame frame(int width, int height, double x, double y, double side) const {
        Frame frame(width, height);
        const double scale = side / kFaceSide;
        paint(frame, x - kFaceX * scale, y - kFaceY * scale, scale);
        return frame;
    }

private:
    void paintPixel(Frame& frame, int x, int y, double left, double top, double scale) const;

    int width_ = 0;
    int height_ = 0;
    std::vector<std::uint8_t> rgb_;
};

}  // namespace velmaro::testing
