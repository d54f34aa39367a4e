#include "backends/gstreamer/FileHead.h"

#include <gst/base/gsttypefindhelper.h>
#include <gst/tag/tag.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <span>
#include <string_view>
#include <vector>

#include "backends/gstreamer/Handles.h"

namespace velmaro::gstreamer {

namespace {

constexpr std::size_t kLookedAt = 65536;
/// Of a picture's file: nothing that counts comes later.
constexpr int kMostSegments = 500;
/// What marks a segment of a JPEG file as EXIF data.
constexpr std::array<std::uint8_t, 6> kExif{'E', 'x', 'i', 'f', 0, 0};

using TagsHandle = std::unique_ptr<GstTagList, ReleaseMiniObject>;
using BufferHandle = std::unique_ptr<GstBuffer, ReleaseMiniObject>;

/// `exif` without the six bytes that mark it.
GstVideoOrientationMethod orientationOf(std::span<const std::uint8_t> exif) {
    const BufferHandle buffer(gst_buffer_new_memdup(exif.data(), exif.size()));
    const TagsHandle tags(gst_tag_list_from_exif_buffer_with_tiff_header(buffer.get()));
    GstVideoOrientationMethod method = GST_VIDEO_ORIENTATION_IDENTITY;
    if (tags && gst_video_orientation_from_tag(tags.get(), &method) == FALSE) {
        method = GST_VIDEO_ORIENTATION_IDENTITY;
    }
    return method;
}

/// Big-endian.
std::uint64_t number(std::span<const std::uint8_t> bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8U | byte;
    }
    return value;
}

/// False if the file ends before `bytes` are full.
bool readAt(std::istream& file, std::int64_t at, std::span<std::uint8_t> bytes) {
    file.clear();
    file.seekg(at);
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return file.good();
}

/// Of EXIF data of that length which begin where `file` is.
GstVideoOrientationMethod orientationAt(std::istream& file, std::int64_t length) {
    std::vector<std::uint8_t> exif(static_cast<std::size_t>(
        std::clamp<std::int64_t>(length, 0, static_cast<std::int64_t>(kLookedAt))));
    file.read(reinterpret_cast<char*>(exif.data()), static_cast<std::streamsize>(exif.size()));
    exif.resize(static_cast<std::size_t>(file.gcount()));
    // Some programs write the mark of a JPEG file's segment here too.
    std::span<const std::uint8_t> content(exif);
    if (content.size() >= kExif.size() && std::equal(kExif.begin(), kExif.end(), content.begin())) {
        content = content.subspan(kExif.size());
    }
    return content.empty() ? GST_VIDEO_ORIENTATION_IDENTITY : orientationOf(content);
}

/// The segments before the picture: its size and its orientation.
void readJPEG(std::istream& file, FileHead& head) {
    file.clear();
    file.seekg(2);
    for (int count = 0; count < kMostSegments; ++count) {
        std::array<std::uint8_t, 4> header{};
        if (!file.read(reinterpret_cast<char*>(header.data()), 4) || header[0] != 0xff) {
            return;
        }
        const int marker = header[1];
        const int length = header[2] << 8 | header[3];
        if (length < 2 || marker == 0xda) {
            return;
        }
        std::vector<std::uint8_t> content(static_cast<std::size_t>(length) - 2);
        if (!file.read(reinterpret_cast<char*>(content.data()),
                       static_cast<std::streamsize>(content.size()))) {
            return;
        }
        const bool isFrame =
            marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (isFrame && content.size() >= 5) {
            head.height = content[1] << 8 | content[2];
            head.width = content[3] << 8 | content[4];
        } else if (marker == 0xe1 && content.size() > kExif.size() &&
                   std::equal(kExif.begin(), kExif.end(), content.begin())) {
            head.orientation = orientationOf(std::span(content).subspan(kExif.size()));
        }
    }
}

/// Follows the chunks of a PNG file up to the picture itself for its orientation.
void readPNG(std::istream& file, FileHead& head) {
    std::int64_t at = 8;
    std::array<std::uint8_t, 8> header{};
    for (int count = 0; count < kMostSegments && readAt(file, at, header); ++count) {
        const auto length = static_cast<std::int64_t>(number(std::span(header).first(4)));
        const std::string_view kind(reinterpret_cast<const char*>(header.data()) + 4, 4);
        if (kind == "eXIf") {
            head.orientation = orientationAt(file, length);
        }
        // Behind the picture it is allowed too.
        if (kind == "IEND" || kind == "eXIf") {
            return;
        }
        // The checksum follows.
        at += 8 + length + 4;
    }
}

/// Follows the chunks of a WebP file for its orientation.
void readWebP(std::istream& file, FileHead& head) {
    std::int64_t at = 12;
    std::array<std::uint8_t, 8> header{};
    for (int count = 0; count < kMostSegments && readAt(file, at, header); ++count) {
        std::reverse(header.begin() + 4, header.end());
        const auto length = static_cast<std::int64_t>(number(std::span(header).last(4)));
        if (std::string_view(reinterpret_cast<const char*>(header.data()), 4) == "EXIF") {
            head.orientation = orientationAt(file, length);
            return;
        }
        // Each begins at an even place.
        at += 8 + length + length % 2;
    }
}

/// Where the last of the boxes of a QuickTime or MP4 file ends.
std::int64_t endOfBoxes(std::istream& file) {
    file.clear();
    file.seekg(0, std::ios::end);
    const std::int64_t size = file.tellg();
    std::int64_t at = 0;
    for (int count = 0; count < kMostSegments && at + 8 <= size; ++count) {
        std::array<std::uint8_t, 16> header{};
        // The last box may be shorter than this.
        readAt(file, at, header);
        std::uint64_t length = number(std::span(header).first(4));
        if (length == 1) {
            length = number(std::span(header).last(8));
        }
        if (length < 8 || length > std::uint64_t{1} << 60U) {
            return 0;
        }
        at += static_cast<std::int64_t>(length);
    }
    return at;
}

}  // namespace

std::optional<std::string> whyTooLarge(std::int64_t width, std::int64_t height) {
    if (width * height <= kMaximalPixels) {
        return std::nullopt;
    }
    return "it has " + std::to_string(width) + " x " + std::to_string(height) +
           " pixels, more than the " + std::to_string(kMaximalPixels / 1'000'000) +
           " million that can be played";
}

FileHead FileHead::read(const std::string& path) {
    FileHead head;
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> data(kLookedAt);
    file.read(reinterpret_cast<char*>(data.data()), kLookedAt);
    data.resize(static_cast<std::size_t>(file.gcount()));
    head.isWhole = data.size() < kLookedAt;
    const CapsHandle caps(
        gst_type_find_helper_for_data(nullptr, data.data(), data.size(), nullptr));
    if (!caps) {
        return head;
    }
    const GstStructure* const type = gst_caps_get_structure(caps.get(), 0);
    head.mediaType = gst_structure_get_name(type);
    gst_structure_get_int(type, "width", &head.width);
    gst_structure_get_int(type, "height", &head.height);
    const std::span<const std::uint8_t> bytes(data);
    if (head.mediaType == "image/jpeg") {
        readJPEG(file, head);
    } else if (head.mediaType == "image/png" && bytes.size() >= 24) {
        head.width = static_cast<int>(number(bytes.subspan(16, 4)) & 0x7fffffffU);
        head.height = static_cast<int>(number(bytes.subspan(20, 4)) & 0x7fffffffU);
        readPNG(file, head);
    } else if (head.mediaType == "image/webp") {
        readWebP(file, head);
    } else if (head.mediaType == "video/x-msvideo" && bytes.size() >= 8) {
        head.saidSize = 8 + (bytes[4] | bytes[5] << 8 | bytes[6] << 16 |
                             static_cast<std::int64_t>(bytes[7]) << 24);
    } else if (head.mediaType == "video/quicktime") {
        head.saidSize = endOfBoxes(file);
    }
    return head;
}

}  // namespace velmaro::gstreamer
