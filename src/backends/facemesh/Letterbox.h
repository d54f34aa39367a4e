#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "backends/facemesh/ImageView.h"

namespace velmaro::facemesh {

/// Shrinks a part of a picture into a square, in the middle and without changing its proportions,
/// with black around it. Every cell of the square is the exact mean of the area that it covers:
/// picking single pixels instead doubles the noise of what is detected.
///
/// Made by hand: a library scales pictures to pictures of bytes, so that rounding would come
/// between the mean and the network, and another pass turn the bytes into its numbers.
class Letterbox {
public:
    /// Makes squares of `side` cells a side.
    explicit Letterbox(std::size_t side);

    /// How the last square lies on its picture: pixel = origin + cell x pixelsPerCell.
    struct Placement {
        double originX = 0;
        double originY = 0;
        double pixelsPerCell = 1;
    };

    /// Writes side x side x 3 numbers, red first, black as -1 and white as 1.
    Placement fill(const ImageView& image, const Region& region, std::span<float> square);

private:
    /// The pixels that a cell covers: whole ones, and one at each end in part.
    struct Cover {
        int first = 0;
        int last = 0;
        int partBefore = 0;
        int partAfter = 0;
        float weightBefore = 0;
        float weightAfter = 0;
        bool empty = true;
    };

    static Cover cover(double from, double to, int limit);
    void sumRows(const ImageView& image, const Region& region, const Cover& rows);

    std::size_t side_;
    std::vector<Cover> columns_;
    std::vector<std::uint16_t> sums_;
    std::vector<float> line_;
};

}  // namespace velmaro::facemesh
