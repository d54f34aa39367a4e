#pragma once

#include <filesystem>
#include <functional>

namespace velmaro::gstreamer {

/// Tries to open a file for reading and writing; the error's number, 0 if it opens.
using TryOpen = std::function<int(const std::filesystem::path&)>;

/// Opens it indeed, without waiting.
int tryOpen(const std::filesystem::path& file);

/// True if there are video devices (video0, video1, ...) in `folder` and this user may open none.
[[nodiscard]] bool videoDevicesAreForbidden(const std::filesystem::path& folder = "/dev",
                                            const TryOpen& open = tryOpen);

}  // namespace velmaro::gstreamer
