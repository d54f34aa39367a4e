#pragma once

namespace velmaro {

/// Every distance in the window is a multiple of this, in device-independent pixels.
inline constexpr int kGrid = 8;
inline constexpr int kWindowWidth = 250;
inline constexpr int kPadding = 2 * kGrid;
inline constexpr int kControlHeight = 3 * kGrid;
inline constexpr double kCornerRadius = 6;

}  // namespace velmaro
