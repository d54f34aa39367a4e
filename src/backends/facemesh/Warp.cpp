#include "backends/facemesh/Warp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>

#include "backends/facemesh/Vectorize.h"

namespace velmaro::facemesh {
namespace {

/// Cells that are sampled at once: the compiler turns loops over a known number into vectors.
constexpr std::size_t kCells = 64;
template <typename Value>
using Cells = std::array<Value, kCells>;

/// Where cells lie on the picture: a pixel, the ones right of it and below it, which are the same
/// on the border, and how far on the way to these.
struct Places {
    Cells<std::int32_t> left;
    Cells<std::int32_t> right;
    Cells<std::int32_t> upper;
    Cells<std::int32_t> lower;
    Cells<float> toRight;
    Cells<float> toLower;
};

/// What the memory holds around each of them.
struct Corners {
    Cells<std::uint32_t> upperLeft;
    Cells<std::uint32_t> upperRight;
    Cells<std::uint32_t> lowerLeft;
    Cells<std::uint32_t> lowerRight;
};

/// Cells in a line from `at` on, `step` apart.
VELMARO_VECTORIZE
void place(const ImageView& image, PixelPoint at, PixelPoint step, Places& places) {
    const std::int32_t lastColumn = image.width - 1;
    const std::int32_t lastRow = image.height - 1;
    const auto right = static_cast<float>(lastColumn);
    const auto bottom = static_cast<float>(lastRow);
    for (std::size_t i = 0; i < kCells; ++i) {
        const auto number = static_cast<float>(static_cast<std::int32_t>(i));
        const float x = std::min(std::max(at.x + step.x * number, 0.0F), right);
        const float y = std::min(std::max(at.y + step.y * number, 0.0F), bottom);
        const auto column = static_cast<std::int32_t>(x);
        const auto row = static_cast<std::int32_t>(y);
        places.left[i] = column;
        places.right[i] = std::min(column + 1, lastColumn);
        places.upper[i] = row;
        places.lower[i] = std::min(row + 1, lastRow);
        places.toRight[i] = x - static_cast<float>(column);
        places.toLower[i] = y - static_cast<float>(row);
    }
}

/// Where the cells of a line lie, and how much further those of the next.
struct Line {
    PixelPoint at;
    PixelPoint step;
    PixelPoint toNext;
};

/// The same seen on the transposed picture.
Line transposed(const Line& line) {
    const auto swapped = [](PixelPoint point) { return PixelPoint{point.y, point.x}; };
    return {swapped(line.at), swapped(line.step), swapped(line.toNext)};
}

/// How far the next line of cells is, in bytes.
std::ptrdiff_t toNextLine(const ColorComponent& component, const Line& line) {
    return std::lround(line.toNext.y) * (component.rowStep >> component.rowShift) +
           std::lround(line.toNext.x) * (component.columnStep >> component.columnShift);
}

/// Reads the values of a component, or a larger `Word` that begins with them.
template <typename Word>
[[gnu::always_inline]] inline void gather(const ColorComponent& component, const Places& places,
                                          Corners& corners, std::ptrdiff_t toNextLine) {
    Cells<std::int32_t> offsets;
    Cells<std::int32_t> toRight;
    Cells<std::int32_t> toLower;
    const auto columnStep = static_cast<std::int32_t>(component.columnStep);
    const auto rowStep = static_cast<std::int32_t>(component.rowStep);
    for (std::size_t i = 0; i < kCells; ++i) {
        const std::int32_t column = places.left[i] >> component.columnShift;
        const std::int32_t row = places.upper[i] >> component.rowShift;
        offsets[i] = row * rowStep + column * columnStep;
        toRight[i] = ((places.right[i] >> component.columnShift) - column) * columnStep;
        toLower[i] = ((places.lower[i] >> component.rowShift) - row) * rowStep;
    }
    const auto read = [](const std::uint8_t* from) {
        Word word = 0;
        std::memcpy(&word, from, sizeof word);
        return std::uint32_t{word};
    };
    // Asked for while this line is read: a camera's picture is in no cache.
    for (std::size_t i = 0; i < kCells; i += 4) {
        const std::uint8_t* const next = component.base + offsets[i] + toNextLine;
        __builtin_prefetch(next);
        __builtin_prefetch(next + toLower[i]);
    }
    for (std::size_t i = 0; i < kCells; ++i) {
        const std::uint8_t* const upper = component.base + offsets[i];
        const std::uint8_t* const lower = upper + toLower[i];
        corners.upperLeft[i] = read(upper);
        corners.upperRight[i] = read(upper + toRight[i]);
        corners.lowerLeft[i] = read(lower);
        corners.lowerRight[i] = read(lower + toRight[i]);
    }
}

VELMARO_VECTORIZE
void gatherBytes(const ColorComponent& component, const Places& places, Corners& corners,
                 std::ptrdiff_t toNextLine) {
    gather<std::uint8_t>(component, places, corners, toNextLine);
}

VELMARO_VECTORIZE
void gatherWords(const ColorComponent& component, const Places& places, Corners& corners,
                 std::ptrdiff_t toNextLine) {
    gather<std::uint32_t>(component, places, corners, toNextLine);
}

/// Which bits of a word a component has, in a pixel of which `mask` are the bits that matter.
struct Bits {
    std::int32_t first = 0;
    std::int32_t mask = 0;
    std::int32_t columnShift = 0;
    std::int32_t perColumn = 0;
};

VELMARO_VECTORIZE
void blend(const Bits& bits, const Places& places, const Corners& corners, Cells<float>& values) {
    const auto [first, mask, columnShift, perColumn] = bits;
    for (std::size_t i = 0; i < kCells; ++i) {
        const std::int32_t left = first + ((places.left[i] & mask) >> columnShift) * perColumn;
        const std::int32_t right = first + ((places.right[i] & mask) >> columnShift) * perColumn;
        const auto value = [](std::uint32_t word, std::int32_t shift) {
            return static_cast<float>(static_cast<std::int32_t>((word >> shift) & 255U));
        };
        const float a = value(corners.upperLeft[i], left);
        const float b = value(corners.upperRight[i], right);
        const float c = value(corners.lowerLeft[i], left);
        const float d = value(corners.lowerRight[i], right);
        const float upper = a + places.toRight[i] * (b - a);
        const float lower = c + places.toRight[i] * (d - c);
        values[i] = upper + places.toLower[i] * (lower - upper);
    }
}

VELMARO_VECTORIZE
void color(const ImageView& image, const std::array<Cells<float>, 3>& values,
           std::array<float, 3 * kCells>& rgb) {
    const auto [toRed, toGreen, toBlue] = image.toRGB;
    for (std::size_t i = 0; i < kCells; ++i) {
        const auto mix = [&](const ImageView::Mixture& mixture) {
            const float value = (mixture[0] * values[0][i] + mixture[1] * values[1][i] +
                                 mixture[2] * values[2][i] + mixture[3]) *
                                (1.0F / 255);
            const float bright = value < 0 ? 0 : value;
            return bright > 1 ? 1 : bright;
        };
        rgb[3 * i] = mix(toRed);
        rgb[3 * i + 1] = mix(toGreen);
        rgb[3 * i + 2] = mix(toBlue);
    }
}

/// The words of a picture whose components all stand in words of four bytes, for one or two columns
/// each, of which one read gives all. Nothing if it is not such a picture.
std::optional<ColorComponent> wordsOf(const ImageView& image) {
    const auto& components = image.components;
    ColorComponent word = std::ranges::max(
        components, {}, [](const ColorComponent& each) { return each.columnShift; });
    const auto columns = [&](const ColorComponent& each) {
        return std::ptrdiff_t{1} << (word.columnShift - each.columnShift);
    };
    // Columns that run backward begin with the last one of a word.
    const auto begin = [&](const ColorComponent& each) {
        return each.base + std::min<std::ptrdiff_t>((columns(each) - 1) * each.columnStep, 0);
    };
    word.base = begin(std::ranges::min(components, {}, begin));
    const bool fits = std::ranges::all_of(components, [&](const ColorComponent& each) {
        return each.columnStep * columns(each) == word.columnStep && each.rowStep == word.rowStep &&
               each.rowShift == word.rowShift && begin(each) - word.base < 4;
    });
    return fits && std::abs(word.columnStep) == 4 ? std::optional(word) : std::nullopt;
}

/// Up to kCells cells in a line.
void sampleLine(const ImageView& image, const Line& line, std::span<float> out) {
    Places places;
    Corners corners;
    std::array<Cells<float>, 3> values;
    std::array<float, 3 * kCells> rgb;
    place(image, line.at, line.step, places);
    const auto words = wordsOf(image);
    if (words) {
        gatherWords(*words, places, corners, toNextLine(*words, line));
    }
    for (std::size_t i = 0; i < 3; ++i) {
        const ColorComponent& component = image.components[i];
        if (words) {
            blend({static_cast<std::int32_t>(8 * (component.base - words->base)),
                   (1 << words->columnShift) - 1, component.columnShift,
                   static_cast<std::int32_t>(8 * component.columnStep)},
                  places, corners, values[i]);
        } else {
            gatherBytes(component, places, corners, toNextLine(component, line));
            blend({}, places, corners, values[i]);
        }
    }
    color(image, values, rgb);
    std::copy_n(rgb.begin(), out.size(), out.begin());
}

}  // namespace

void warp(const ImageView& image, const TurnedSquare& square, std::size_t cells,
          std::span<float> out) {
    const float cell = square.side / static_cast<float>(cells);
    const PixelPoint step = {square.across.x * cell, square.across.y * cell};
    // Where rows run along the memory one read can give all components.
    const bool liesOnItsSide = image.liesOnItsSide();
    const ImageView lying = liesOnItsSide ? image.transposed() : image;
    for (std::size_t j = 0; j < cells; ++j) {
        const float v = (static_cast<float>(j) + 0.5F) / static_cast<float>(cells);
        for (std::size_t i = 0; i < cells; i += kCells) {
            const float u = (static_cast<float>(i) + 0.5F) / static_cast<float>(cells);
            const PixelPoint at = square.toImage(u, v);
            // A pixel's value stands at its middle, hence the half.
            const Line line = {{at.x - 0.5F, at.y - 0.5F}, step, {-step.y, step.x}};
            sampleLine(lying, liesOnItsSide ? transposed(line) : line,
                       out.subspan(3 * (j * cells + i), 3 * std::min(kCells, cells - i)));
        }
    }
}

}  // namespace velmaro::facemesh
