#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace velmaro {

/// One picture in memory, 32-bit BGRA, first row on top. Shared, never copied: whoever holds it
/// keeps the memory mapped. Immutable, so any thread may read it.
class PixelBuffer {
public:
    virtual ~PixelBuffer() = default;

    [[nodiscard]] virtual int width() const = 0;
    [[nodiscard]] virtual int height() const = 0;
    /// Distance between the starts of two rows in bytes, at least 4 x width.
    [[nodiscard]] virtual std::ptrdiff_t bytesPerRow() const = 0;
    /// The first pixel's blue byte.
    [[nodiscard]] virtual const std::byte* baseAddress() const = 0;

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
