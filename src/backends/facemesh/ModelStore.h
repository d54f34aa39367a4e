#pragma once

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace velmaro::facemesh {

inline constexpr std::string_view kDetectorFile = "face_detection_short_range.tflite";
inline constexpr std::string_view kLandmarkFile = "face_landmark.tflite";
inline constexpr std::string_view kCanonicalFaceFile =
    "geometry_pipeline_metadata_landmarks.binarypb";

/// Reads one of the files above whole and compares its checksum. The failure, when the file is
/// missing, unreadable or altered, says how to mend it.
[[nodiscard]] Result<std::vector<std::byte>> loadModelFile(const std::filesystem::path& models,
                                                           std::string_view name);

}  // namespace velmaro::facemesh
