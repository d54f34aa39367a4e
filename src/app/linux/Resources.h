#pragma once

#include <filesystem>

namespace velmaro {

/// A file or folder that came with the program, such as "models": below $VELMARO_DATA_DIR if that
/// is set, else below ../share/velmaro beside the folder of the executable. It may not exist.
[[nodiscard]] std::filesystem::path resource(const std::filesystem::path& name);

}  // namespace velmaro
