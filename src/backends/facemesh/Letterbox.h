#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "backends/facemesh/ImageView.h"

namespace velmaro::facemesh {

/// The values of a row that a cell covers: whole ones, and others in part.
struct Column {
    int first = 0;
    int last = 0;
    std::array<int, 3> parts = {};
    std::array<float, 3> weights = {};
};

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
    /// In pixels, along one axis.
    struct Extent {
        double from = 0;
        double to = 0;
        [[nodiscard]] double length() const { return to - from; }
    };
    /// The values of a component in it: whole ones, and one at each end in part.
    struct Cover {
        int first = 0;
        int last = 0;
        int before = 0;
        int after = 0;
        float weightBefore = 0;
        float weightAfter = 0;
    };

    Placement fillAlongRows(const ImageView& image, const Region& region, std::span<float> square);
    void transpose(std::span<float> square) const;
    static Cover cover(Extent extent, int shift);
    static Column column(Extent extent, double pixels, int shift);
    void sumRows(const ImageView& image, std::size_t component, const Region& region, Extent rows);
    void sumColumns(const ColorComponent& component, std::size_t index);
    void sumPixels(std::ptrdiff_t step);
    void sumCells(const ImageView& image, const Region& region, Extent rows);
    void color(const ImageView& image, double pixels, Extent rows, std::span<float> cells) const;

    std::size_t side_;
    std::array<std::vector<Column>, 3> columns_;
    /// Of each cell, in pixels.
    std::vector<float> lengths_;
    /// Sums of rows of bytes, and where among them the first value of a component stands.
    std::vector<float> line_;
    std::array<std::ptrdiff_t, 3> firstInLine_ = {};
    /// Of each component in each cell.
    std::array<std::vector<float>, 3> sums_;
};

}  // namespace velmaro::facemesh
