#pragma once

#include <QFont>
#include <filesystem>

namespace velmaro {

/// Makes the window's typeface known from the font files in `folder`. False when one is missing:
/// the fonts below are then the desktop's own.
bool loadFonts(const std::filesystem::path& folder);

/// The faces by their size in device-independent pixels.
[[nodiscard]] QFont regularFont(int pixels);
[[nodiscard]] QFont semiBoldFont(int pixels);

}  // namespace velmaro
