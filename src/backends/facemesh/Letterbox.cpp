#include "backends/facemesh/Letterbox.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "backends/facemesh/Vectorize.h"

namespace velmaro::facemesh {
namespace {

/// Rows of bytes that a 16-bit sum can take.
constexpr int kRowsPerSum = 256;

VELMARO_VECTORIZE
void addOne(std::uint16_t* sums, const std::uint8_t* a, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        sums[i] = static_cast<std::uint16_t>(sums[i] + a[i]);
    }
}

/// Several rows in one go, because the sums' own loads and stores cost as much as the rows'.
VELMARO_VECTORIZE
void addFive(std::uint16_t* sums, const std::uint8_t* a, std::ptrdiff_t bytesPerRow,
             std::size_t count) {
    const std::uint8_t* b = a + bytesPerRow;
    const std::uint8_t* c = b + bytesPerRow;
    const std::uint8_t* d = c + bytesPerRow;
    const std::uint8_t* e = d + bytesPerRow;
    for (std::size_t i = 0; i < count; ++i) {
        sums[i] = static_cast<std::uint16_t>(sums[i] + a[i] + b[i] + c[i] + d[i] + e[i]);
    }
}

VELMARO_VECTORIZE
void addSums(float* line, const std::uint16_t* sums, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        line[i] += static_cast<float>(sums[i]);
    }
}

VELMARO_VECTORIZE
void addPart(float* line, const std::uint8_t* row, float weight, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        line[i] += weight * static_cast<float>(row[i]);
    }
}

Float4 load(const float* from) {
    Float4 value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

}  // namespace

Letterbox::Letterbox(std::size_t side) : side_(side), columns_(side) {}

Letterbox::Cover Letterbox::cover(double from, double to, int limit) {
    from = std::max(from, 0.0);
    to = std::min(to, static_cast<double>(limit));
    Cover cover;
    if (!(from < to)) {
        return cover;
    }
    cover.empty = false;
    cover.first = static_cast<int>(std::ceil(from));
    cover.last = static_cast<int>(std::floor(to));
    cover.partBefore = std::max(cover.first - 1, 0);
    cover.partAfter = std::min(cover.last, limit - 1);
    if (cover.first > cover.last) {
        // Within one pixel.
        cover.last = cover.first;
        cover.weightBefore = static_cast<float>(to - from);
        return cover;
    }
    cover.weightBefore = static_cast<float>(cover.first - from);
    cover.weightAfter = static_cast<float>(to - cover.last);
    return cover;
}

void Letterbox::sumRows(const ImageView& image, const Region& region, const Cover& rows) {
    const std::size_t count = line_.size();
    const auto row = [&](int y) { return image.row(region.y + y) + 4 * region.x; };
    std::ranges::fill(line_, 0.0F);
    for (int y = rows.first; y < rows.last;) {
        const int end = std::min(rows.last, y + kRowsPerSum);
        std::ranges::fill(sums_, std::uint16_t{0});
        for (; y + 5 <= end; y += 5) {
            addFive(sums_.data(), row(y), image.bytesPerRow, count);
        }
        for (; y < end; ++y) {
            addOne(sums_.data(), row(y), count);
        }
        addSums(line_.data(), sums_.data(), count);
    }
    if (rows.weightBefore > 0) {
        addPart(line_.data(), row(rows.partBefore), rows.weightBefore, count);
    }
    if (rows.weightAfter > 0) {
        addPart(line_.data(), row(rows.partAfter), rows.weightAfter, count);
    }
}

Letterbox::Placement Letterbox::fill(const ImageView& image, const Region& region,
                                     std::span<float> square) {
    const auto cells = static_cast<double>(side_);
    const double pixels = std::max(region.width, region.height) / cells;
    const double left = (region.width - cells * pixels) / 2;
    const double top = (region.height - cells * pixels) / 2;
    for (std::size_t i = 0; i < side_; ++i) {
        const auto cell = static_cast<double>(i);
        columns_[i] = cover(left + cell * pixels, left + (cell + 1) * pixels, region.width);
    }
    line_.resize(4 * static_cast<std::size_t>(region.width));
    sums_.resize(line_.size());

    const auto factor = static_cast<float>(2 / (255 * pixels * pixels));
    float* out = square.data();
    for (std::size_t j = 0; j < side_; ++j) {
        const auto cell = static_cast<double>(j);
        const Cover rows = cover(top + cell * pixels, top + (cell + 1) * pixels, region.height);
        if (rows.empty) {
            std::fill_n(out, 3 * side_, -1.0F);
            out += 3 * side_;
            continue;
        }
        sumRows(image, region, rows);
        for (const Cover& column : columns_) {
            Float4 sum = {0, 0, 0, 0};
            if (!column.empty) {
                for (int x = column.first; x < column.last; ++x) {
                    sum += load(line_.data() + 4 * x);
                }
                sum += column.weightBefore * load(line_.data() + 4 * column.partBefore) +
                       column.weightAfter * load(line_.data() + 4 * column.partAfter);
            }
            *out++ = sum[2] * factor - 1;
            *out++ = sum[1] * factor - 1;
            *out++ = sum[0] * factor - 1;
        }
    }
    return {region.x + left, region.y + top, pixels};
}

}  // namespace velmaro::facemesh
