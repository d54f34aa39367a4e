#include "backends/facemesh/Letterbox.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "backends/facemesh/Vectorize.h"

namespace velmaro::facemesh {
namespace {

/// Rows of bytes that a 16-bit sum can take.
constexpr int kRowsPerSum = 256;

/// A stack of rows of bytes: whole ones, and one before and one behind them in part.
struct Rows {
    const std::uint8_t* first = nullptr;
    std::ptrdiff_t step = 0;
    int count = 0;
    const std::uint8_t* before = nullptr;
    const std::uint8_t* after = nullptr;
    float weightBefore = 0;
    float weightAfter = 0;
};

/// Sums `kCount` columns, which the compiler keeps in registers from the first row to the last.
template <std::size_t kCount>
[[gnu::always_inline]] inline void sumBlock(const Rows& rows, std::size_t begin, float* line) {
    std::array<float, kCount> total;
    for (std::size_t i = 0; i < kCount; ++i) {
        total[i] = rows.weightBefore * static_cast<float>(rows.before[begin + i]) +
                   rows.weightAfter * static_cast<float>(rows.after[begin + i]);
    }
    const std::uint8_t* row = rows.first + begin;
    // The next stack is asked for while this one is summed: a camera's picture is in no cache.
    const std::ptrdiff_t ahead = (rows.count + 1) * rows.step;
    for (int y = 0; y < rows.count;) {
        std::array<std::uint16_t, kCount> sum = {};
        for (const int end = std::min(rows.count, y + kRowsPerSum); y < end; ++y) {
            __builtin_prefetch(row + ahead);
            for (std::size_t i = 0; i < kCount; ++i) {
                sum[i] = static_cast<std::uint16_t>(sum[i] + row[i]);
            }
            row += rows.step;
        }
        for (std::size_t i = 0; i < kCount; ++i) {
            total[i] += static_cast<float>(sum[i]);
        }
    }
    std::copy(total.begin(), total.end(), line + begin);
}

VELMARO_VECTORIZE
void sum(const Rows& rows, std::size_t count, float* line) {
    constexpr std::size_t kBlock = 32;
    std::size_t begin = 0;
    for (; begin + kBlock <= count; begin += kBlock) {
        sumBlock<kBlock>(rows, begin, line);
    }
    if (begin < count && count >= kBlock) {
        sumBlock<kBlock>(rows, count - kBlock, line);
        return;
    }
    for (; begin < count; ++begin) {
        sumBlock<1>(rows, begin, line);
    }
}

/// The bytes of a row that hold the values of a component, seen from its first one.
struct Strip {
    const std::uint8_t* begin = nullptr;
    const std::uint8_t* end = nullptr;
};

Strip stripOf(const ColorComponent& component, const Region& region) {
    const std::uint8_t* const left = component.at(region.x, 0);
    const std::uint8_t* const right = component.at(region.x + region.width - 1, 0);
    return {std::min(left, right), std::max(left, right) + 1};
}

/// Whether the values of both stand in the same rows of bytes.
bool areInterleaved(const ColorComponent& a, const ColorComponent& b) {
    return a.rowStep == b.rowStep && a.rowShift == b.rowShift &&
           std::abs(reinterpret_cast<std::intptr_t>(a.base) -
                    reinterpret_cast<std::intptr_t>(b.base)) < std::abs(a.rowStep);
}

/// Whether one read of four numbers gives all components of a pixel.
bool has32BitPixels(const ImageView& image) {
    return std::ranges::all_of(image.components, [&](const ColorComponent& each) {
        return std::abs(each.columnStep) == 4 && each.columnShift == 0 &&
               areInterleaved(image.components[0], each) &&
               std::abs(each.base - image.components[0].base) < 4;
    });
}

}  // namespace

Letterbox::Letterbox(std::size_t side) : side_(side), lengths_(side) {
    columns_.fill(std::vector<Column>(side));
    sums_.fill(std::vector<float>(side));
}

Letterbox::Cover Letterbox::cover(Extent extent, int shift) {
    const double from = extent.from / (1 << shift);
    const double to = extent.to / (1 << shift);
    Cover cover;
    cover.first = static_cast<int>(std::ceil(from));
    cover.last = static_cast<int>(std::floor(to));
    cover.before = static_cast<int>(std::floor(from));
    cover.after = std::max(static_cast<int>(std::ceil(to)) - 1, cover.before);
    if (cover.first > cover.last) {
        // Within one value.
        cover.last = cover.first;
        cover.weightBefore = static_cast<float>(to - from);
        return cover;
    }
    cover.weightBefore = static_cast<float>(cover.first - from);
    cover.weightAfter = static_cast<float>(to - cover.last);
    return cover;
}

/// With as many whole values in each cell, so that the processor foresees their number.
Column Letterbox::column(Extent extent, double pixels, int shift) {
    const Cover cover = Letterbox::cover(extent, shift);
    const int common = std::max(static_cast<int>(pixels / (1 << shift)) - 1, 0);
    const int last = std::min(cover.first + common, cover.last);
    return {cover.first,
            last,
            {cover.before, std::min(last, cover.after), cover.after},
            {cover.weightBefore, static_cast<float>(cover.last - last), cover.weightAfter}};
}

/// Sums the rows of bytes that hold a component, and with it those that stand between its values.
void Letterbox::sumRows(const ImageView& image, std::size_t component, const Region& region,
                        Extent rows) {
    const ColorComponent& first = image.components[component];
    Strip strip = stripOf(first, region);
    std::size_t end = component + 1;
    for (; end < 3 && areInterleaved(first, image.components[end]); ++end) {
        const Strip other = stripOf(image.components[end], region);
        strip = {std::min(strip.begin, other.begin), std::max(strip.end, other.end)};
    }
    for (std::size_t i = component; i < end; ++i) {
        firstInLine_[i] = image.components[i].base - strip.begin;
    }
    const auto count = static_cast<std::size_t>(strip.end - strip.begin);
    if (line_.size() < count + 4) {
        line_.resize(count + 4);
    }
    const Cover cover = Letterbox::cover(rows, first.rowShift);
    const auto row = [&](int y) { return strip.begin + y * first.rowStep; };
    sum({row(cover.first), first.rowStep, cover.last - cover.first, row(cover.before),
         row(cover.after), cover.weightBefore, cover.weightAfter},
        count, line_.data());
}

/// Of one component, or with `Sum` of four of all that stand side by side.
template <typename Sum>
Sum sumColumn(const Column& column, const float* values, std::ptrdiff_t step) {
    const auto load = [values, step](int x) {
        Sum value;
        std::memcpy(&value, values + x * step, sizeof value);
        return value;
    };
    Sum sum = column.weights[0] * load(column.parts[0]);
    sum += column.weights[1] * load(column.parts[1]);
    sum += column.weights[2] * load(column.parts[2]);
    for (int x = column.first; x < column.last; ++x) {
        sum += load(x);
    }
    return sum;
}

void Letterbox::sumColumns(const ColorComponent& component, std::size_t index) {
    for (std::size_t i = 0; i < side_; ++i) {
        sums_[index][i] = sumColumn<float>(columns_[index][i], line_.data() + firstInLine_[index],
                                           component.columnStep);
    }
}

/// The same for all components of a picture of 32 bits a pixel.
void Letterbox::sumPixels(std::ptrdiff_t step) {
    const std::ptrdiff_t first = *std::ranges::min_element(firstInLine_);
    for (std::size_t i = 0; i < side_; ++i) {
        const auto sum = sumColumn<Float4>(columns_[0][i], line_.data() + first, step);
        for (std::size_t k = 0; k < 3; ++k) {
            sums_[k][i] = sum[firstInLine_[k] - first];
        }
    }
}

/// From sums of components to the numbers of a row of cells.
VELMARO_VECTORIZE
void Letterbox::color(const ImageView& image, double pixels, Extent rows,
                      std::span<float> cells) const {
    const float* const a = sums_[0].data();
    const float* const b = sums_[1].data();
    const float* const c = sums_[2].data();
    const float* const length = lengths_.data();
    float* const out = cells.data();
    const auto scale = static_cast<float>(2 / (255 * pixels * pixels));
    const auto height = static_cast<float>(rows.length());
    std::array<ImageView::Mixture, 3> mixtures = image.toRGB;
    for (ImageView::Mixture& mixture : mixtures) {
        for (std::size_t k = 0; k < 3; ++k) {
            const ColorComponent& component = image.components[k];
            const int pixelsPerValue = 1 << (component.columnShift + component.rowShift);
            mixture[k] *= scale * static_cast<float>(pixelsPerValue);
        }
        // What is beyond the region is black, whatever the components of black are.
        mixture[3] *= scale * height;
    }
    const auto [toRed, toGreen, toBlue] = mixtures;
    for (std::size_t i = 0; i < side_; ++i) {
        const auto mix = [&](const ImageView::Mixture& mixture) {
            const float value = mixture[0] * a[i] + mixture[1] * b[i] + mixture[2] * c[i] +
                                mixture[3] * length[i] - 1;
            const float bright = value < -1 ? -1 : value;
            return bright > 1 ? 1 : bright;
        };
        out[3 * i] = mix(toRed);
        out[3 * i + 1] = mix(toGreen);
        out[3 * i + 2] = mix(toBlue);
    }
}

void Letterbox::sumCells(const ImageView& image, const Region& region, Extent rows) {
    if (has32BitPixels(image)) {
        sumRows(image, 0, region, rows);
        sumPixels(image.components[0].columnStep);
        return;
    }
    for (std::size_t k = 0; k < 3; ++k) {
        if (k == 0 || !areInterleaved(image.components[k - 1], image.components[k])) {
            sumRows(image, k, region, rows);
        }
        sumColumns(image.components[k], k);
    }
}

/// Along rows that run across the memory nearly the whole picture would be summed for each row.
Letterbox::Placement Letterbox::fill(const ImageView& image, const Region& region,
                                     std::span<float> square) {
    if (!image.liesOnItsSide()) {
        return fillAlongRows(image, region, square);
    }
    const Placement placement = fillAlongRows(
        image.transposed(), {region.y, region.x, region.height, region.width}, square);
    transpose(square);
    return {placement.originY, placement.originX, placement.pixelsPerCell};
}

void Letterbox::transpose(std::span<float> square) const {
    for (std::size_t j = 0; j < side_; ++j) {
        for (std::size_t i = 0; i < j; ++i) {
            std::swap_ranges(square.begin() + static_cast<std::ptrdiff_t>(3 * (j * side_ + i)),
                             square.begin() + static_cast<std::ptrdiff_t>(3 * (j * side_ + i) + 3),
                             square.begin() + static_cast<std::ptrdiff_t>(3 * (i * side_ + j)));
        }
    }
}

Letterbox::Placement Letterbox::fillAlongRows(const ImageView& image, const Region& region,
                                              std::span<float> square) {
    const auto cells = static_cast<double>(side_);
    const double pixels = std::max(region.width, region.height) / cells;
    const double left = region.x + (region.width - cells * pixels) / 2;
    const double top = region.y + (region.height - cells * pixels) / 2;
    const auto extent = [pixels](double origin, std::size_t cell, double from, double length) {
        const double begin = origin + static_cast<double>(cell) * pixels;
        const double end = std::min(begin + pixels, from + length);
        return begin < from + length && end > from ? Extent{std::max(begin, from), end}
                                                   : Extent{from, from};
    };
    for (std::size_t i = 0; i < side_; ++i) {
        const Extent columns = extent(left, i, region.x, region.width);
        lengths_[i] = static_cast<float>(columns.length());
        for (std::size_t k = 0; k < 3; ++k) {
            columns_[k][i] = column(columns, pixels, image.components[k].columnShift);
        }
    }
    for (std::size_t j = 0; j < side_; ++j) {
        const std::span<float> row = square.subspan(3 * side_ * j, 3 * side_);
        const Extent rows = extent(top, j, region.y, region.height);
        if (rows.length() <= 0) {
            std::ranges::fill(row, -1.0F);
            continue;
        }
        sumCells(image, region, rows);
        color(image, pixels, rows, row);
    }
    return {left, top, pixels};
}

}  // namespace velmaro::facemesh
