#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace velmaro {

/// One of the three colour components of a picture where it lies, 8 bits a value.
struct ColorComponent {
    /// Of the first column and row.
    const std::uint8_t* base = nullptr;
    /// In bytes, from a value to the next; negative where the picture lies the other way.
    std::ptrdiff_t columnStep = 0;
    std::ptrdiff_t rowStep = 0;
    /// A value stands for 2^shift columns or rows, beginning with the first.
    int columnShift = 0;
    int rowShift = 0;

    [[nodiscard]] const std::uint8_t* at(int x, int y) const {
        return base + (y >> rowShift) * rowStep + (x >> columnShift) * columnStep;
    }
};

/// What has to be done with a camera's pictures so that they stand upright and the right way round.
struct CameraOrientation {
    /// By how many degrees they are turned clockwise: 0, 90, 180 or 270.
    int rotation = 0;
    /// Whether left and right are then exchanged.
    bool mirrored = false;

    bool operator==(const CameraOrientation&) const = default;
};

/// Somebody else's picture in whatever format it has: three components, red, green and blue or
/// others, and what to make of them. Coordinates are in pixels, from the top left corner, y
/// downward; pixel (0, 0) covers 0 to 1. Components that share words of four bytes begin with them:
/// all four may be read.
struct ImageView {
    int width = 0;
    int height = 0;
    std::array<ColorComponent, 3> components;
    /// How red, green and blue, from 0 to 255 each, follow from the components: three factors and a
    /// summand. What comes out beyond that range is cut off at its ends.
    using Mixture = std::array<float, 4>;
    std::array<Mixture, 3> toRGB = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}};

    /// Of 32-bit BGRA.
    [[nodiscard]] static ImageView ofBGRA(const std::byte* base, std::ptrdiff_t bytesPerRow,
                                          int width, int height) {
        const auto* const blue = reinterpret_cast<const std::uint8_t*>(base);
        const auto component = [=](int offset) {
            return ColorComponent{base == nullptr ? nullptr : blue + offset, 4, bytesPerRow, 0, 0};
        };
        return {width, height, {component(2), component(1), component(0)}};
    }

    /// The same memory read in another order, which costs nothing whatever the format: in bytes a
    /// packed or subsampled picture would have to be sorted anew. A last column or row that has a
    /// colour of its own, in a format where two share one, is left out where the order is reversed.
    [[nodiscard]] ImageView turned(CameraOrientation orientation) const;

    /// Rows become columns. What reads along the memory looks at a picture that lies on its side
    /// so.
    [[nodiscard]] ImageView transposed() const;

    /// Whether the rows run across the memory, as of a picture that was turned on its side.
    [[nodiscard]] bool liesOnItsSide() const {
        return std::abs(components[0].columnStep) > std::abs(components[0].rowStep);
    }
};

/// One picture in memory, 32-bit BGRA, first row on top. Shared, never copied: whoever holds it
/// keeps the memory mapped. Immutable, so any thread may read it.
class PixelBuffer {
public:
    virtual ~PixelBuffer() = default;

    [[nodiscard]] virtual int width() const = 0;
    [[nodiscard]] virtual int height() const = 0;
    /// Distance between the starts of two rows in bytes, at least 4 x width.
    [[nodiscard]] virtual std::ptrdiff_t bytesPerRow() const = 0;
    /// The first pixel's blue byte. A picture that its source gave in another format is converted
    /// at the first call, which takes milliseconds.
    [[nodiscard]] virtual const std::byte* baseAddress() const = 0;

    /// The same picture in the format that its source gave it, so that nothing is converted.
    [[nodiscard]] virtual ImageView view() const {
        return ImageView::ofBGRA(baseAddress(), bytesPerRow(), width(), height());
    }

    /// Which run of a source the picture comes from: another number is another camera, or the same
    /// one started again, or a file that has begun anew. 0 where nobody counts.
    [[nodiscard]] virtual std::uint64_t run() const { return 0; }
};

/// One captured frame as it is delivered.
struct SampleBuffer {
    /// Null for a sample that carries no picture.
    std::shared_ptr<const PixelBuffer> imageBuffer;
};

}  // namespace velmaro
