#pragma once

#include <gst/video/video.h>

#include <cstdint>
#include <optional>
#include <string>

namespace velmaro::gstreamer {

/// The largest picture that is played, in pixels. Each takes up to four bytes of memory, several
/// times over while it is decoded and turned.
inline constexpr std::int64_t kMaximalPixels = 64'000'000;

/// Why a picture of that size is not played; nothing if it is.
[[nodiscard]] std::optional<std::string> whyTooLarge(std::int64_t width, std::int64_t height);

/// What the beginning of a file tells without decoding anything.
struct FileHead {
    /// As GStreamer calls it; empty if it does not know.
    std::string mediaType;
    /// 0 if not told.
    int width = 0;
    int height = 0;
    /// How a picture is to be turned, by its EXIF data.
    GstVideoOrientationMethod orientation = GST_VIDEO_ORIENTATION_IDENTITY;
    /// How long the file says that it is, in bytes; 0 if it does not.
    std::int64_t saidSize = 0;
    /// Nothing of the file is beyond what was looked at.
    bool isWhole = false;

    /// Reads some kilobytes. Any thread.
    static FileHead read(const std::string& path);
};

}  // namespace velmaro::gstreamer
