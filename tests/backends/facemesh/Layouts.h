#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>
#include <random>
#include <vector>

#include "platform/PixelBuffer.h"

namespace velmaro::testing {

/// Where a component of a picture stands.
struct ComponentPlace {
    std::size_t plane;
    int offset;
    int step;
    int columnShift;
    int rowShift;
};

struct Layout {
    const char* name;
    std::array<ComponentPlace, 3> places;
};

inline void PrintTo(const Layout& layout, std::ostream* stream) {
    *stream << layout.name;
}

/// A picture of noise in any layout, in memory that ends with its last value.
class LaidOut {
public:
    LaidOut(const Layout& layout, int width, int height, int extraBytesPerRow) {
        std::mt19937 random(5);
        view.width = width;
        view.height = height;
        // Of the full range, by Rec. 601.
        view.toRGB = {{{1, 0, 1.402F, -179.456F},
                       {1, -0.344136F, -0.714136F, 135.458816F},
                       {1, 1.772F, 0, -226.816F}}};
        for (std::size_t plane = 0; plane < 3; ++plane) {
            int bytes = 0;
            int rows = 0;
            for (const ComponentPlace& place : layout.places) {
                if (place.plane == plane) {
                    bytes = std::max(bytes, values(width, place.columnShift) * place.step);
                    rows = values(height, place.rowShift);
                }
            }
            const int rowStep = bytes + extraBytesPerRow;
            planes_[plane].resize(
                static_cast<std::size_t>(std::max(rowStep * (rows - 1) + bytes, 0)));
            std::ranges::generate(planes_[plane],
                                  [&] { return static_cast<std::uint8_t>(random() >> 24); });
            for (std::size_t i = 0; i < 3; ++i) {
                const ComponentPlace& place = layout.places[i];
                if (place.plane == plane) {
                    view.components[i] = {planes_[plane].data() + place.offset, place.step, rowStep,
                                          place.columnShift, place.rowShift};
                }
            }
        }
    }

    ImageView view;

    /// Makes it a picture that a camera gives which hangs so.
    void turn(CameraOrientation orientation) { view = view.turned(orientation); }

    /// What the definition says, from 0 to 255 but for what is beyond.
    [[nodiscard]] double value(int x, int y, int channel) const {
        const auto& [a, b, c] = view.components;
        const auto& mixture = view.toRGB[static_cast<std::size_t>(channel)];
        return mixture[0] * static_cast<float>(*a.at(x, y)) +
               mixture[1] * static_cast<float>(*b.at(x, y)) +
               mixture[2] * static_cast<float>(*c.at(x, y)) + mixture[3];
    }

private:
    static int values(int pixels, int shift) { return (pixels + (1 << shift) - 1) >> shift; }

    std::array<std::vector<std::uint8_t>, 3> planes_;
};

inline constexpr std::array kLayouts = {
    Layout{"BGRA", {{{0, 2, 4, 0, 0}, {0, 1, 4, 0, 0}, {0, 0, 4, 0, 0}}}},
    Layout{"RGB", {{{0, 0, 3, 0, 0}, {0, 1, 3, 0, 0}, {0, 2, 3, 0, 0}}}},
    Layout{"YUY2", {{{0, 0, 2, 0, 0}, {0, 1, 4, 1, 0}, {0, 3, 4, 1, 0}}}},
    Layout{"UYVY", {{{0, 1, 2, 0, 0}, {0, 0, 4, 1, 0}, {0, 2, 4, 1, 0}}}},
    Layout{"NV12", {{{0, 0, 1, 0, 0}, {1, 0, 2, 1, 1}, {1, 1, 2, 1, 1}}}},
    Layout{"NV21", {{{0, 0, 1, 0, 0}, {1, 1, 2, 1, 1}, {1, 0, 2, 1, 1}}}},
    Layout{"I420", {{{0, 0, 1, 0, 0}, {1, 0, 1, 1, 1}, {2, 0, 1, 1, 1}}}},
    Layout{"Y42B", {{{0, 0, 1, 0, 0}, {1, 0, 1, 1, 0}, {2, 0, 1, 1, 0}}}},
    Layout{"Y444", {{{0, 0, 1, 0, 0}, {1, 0, 1, 0, 0}, {2, 0, 1, 0, 0}}}}};

inline constexpr std::array kOrientations = {
    CameraOrientation{0, false},   CameraOrientation{90, false}, CameraOrientation{180, false},
    CameraOrientation{270, false}, CameraOrientation{0, true},   CameraOrientation{90, true},
    CameraOrientation{180, true},  CameraOrientation{270, true}};

}  // namespace velmaro::testing
