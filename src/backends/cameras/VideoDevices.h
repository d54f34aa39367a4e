#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

#include "backends/cameras/CameraDescription.h"

namespace velmaro::cameras {

/// Tries to open a file for reading and writing; the error's number, 0 if it opens.
using TryOpen = std::function<int(const std::filesystem::path&)>;

/// Opens it indeed, without waiting.
int tryOpen(const std::filesystem::path& file);

/// The video devices (video0, video1, ...) in `folder`, if there are any and this user may open
/// none of them.
[[nodiscard]] std::vector<std::filesystem::path> forbiddenVideoDevices(
    const std::filesystem::path& folder = "/dev", const TryOpen& open = tryOpen);

/// The cameras behind the devices, as udev knows them for everybody: with the name and identity
/// that they have for those who may open them.
[[nodiscard]] std::vector<CameraDescription> describeVideoDevices(
    const std::vector<std::filesystem::path>& devices);

/// A property of a device that udev knows; null if it has none of that name.
using Property = std::function<const char*(const char* name)>;

/// The camera that has these properties; nothing if it is none.
[[nodiscard]] std::optional<CameraDescription> describeProperties(const Property& property);

}  // namespace velmaro::cameras
