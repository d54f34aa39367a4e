#include "backends/gstreamer/CameraFormat.h"

#include <gst/video/video.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace velmaro::gstreamer {

namespace {

constexpr int kLongSide = 1280;
constexpr int kShortSide = 720;
/// Larger pictures than these cost more than a few missing frames.
constexpr int kTolerableLongSide = 1920;
constexpr int kTolerableShortSide = 1080;
/// Frames a second that tracking wants; television's 29.97 passes.
constexpr int kWantedRate = 30;
constexpr double kFastRate = 29.9;

enum class Encoding { raw, jpeg };

struct Mode {
    Encoding encoding;
    /// Null for JPEG.
    const char* format;
    int width;
    int height;
    /// 0/1 if the camera does not say.
    int rateNumerator;
    int rateDenominator;
    /// Whether the camera told bounds, between which it need not have every rate.
    bool rateIsWithinBounds;

    [[nodiscard]] double rate() const {
        return static_cast<double>(rateNumerator) / static_cast<double>(rateDenominator);
    }
    [[nodiscard]] bool isWithin(int longSide, int shortSide) const {
        return std::max(width, height) <= longSide && std::min(width, height) <= shortSide;
    }
};

/// The lower, the better.
auto rank(const Mode& mode) {
    const bool fits = mode.isWithin(kLongSide, kShortSide);
    const bool tolerable = mode.isWithin(kTolerableLongSide, kTolerableShortSide);
    // A rate that is not told is hoped to be a usual one, but one that is told comes first.
    const bool unknown = mode.rateNumerator == 0;
    const bool fast = mode.rate() >= kFastRate;
    int tier = 5;
    if (fits) {
        tier = fast ? 0 : unknown ? 2 : 3;
    } else if (tolerable) {
        tier = fast ? 1 : 4;
    }
    const auto area = static_cast<double>(mode.width) * mode.height;
    // More frames than wanted only cost; of too few, every one counts more than the size.
    const double slowness = fast || unknown ? 0.0 : -mode.rate();
    const double excess = fast ? mode.rate() : 0.0;
    return std::make_tuple(tier, slowness, fits ? -area : area, mode.encoding, excess);
}

/// The number nearest to `wanted` that a field allows; nothing if it is absent.
std::optional<int> nearest(const GstStructure* structure, const char* field, int wanted) {
    if (gst_structure_has_field(structure, field) == FALSE) {
        return std::nullopt;
    }
    const std::unique_ptr<GstStructure, decltype(&gst_structure_free)> copy(
        gst_structure_copy(structure), gst_structure_free);
    gst_structure_fixate_field_nearest_int(copy.get(), field, wanted);
    int value = 0;
    if (gst_structure_get_int(copy.get(), field, &value) == FALSE || value <= 0) {
        return std::nullopt;
    }
    return value;
}

bool isColourPicture(const char* format) {
    const GstVideoFormat parsed = gst_video_format_from_string(format);
    if (parsed == GST_VIDEO_FORMAT_UNKNOWN || parsed == GST_VIDEO_FORMAT_ENCODED) {
        return false;
    }
    // The infrared twin of a camera gives shades only and is dark to the face finder.
    return GST_VIDEO_FORMAT_INFO_IS_GRAY(gst_video_format_get_info(parsed)) == FALSE;
}

/// `structure` holds no lists, but may hold ranges.
std::optional<Mode> modeOf(const GstStructure* structure) {
    Mode mode{Encoding::raw, nullptr, 0, 0, 0, 1, false};
    const std::string_view name = gst_structure_get_name(structure);
    if (name == "image/jpeg") {
        mode.encoding = Encoding::jpeg;
    } else if (name != "video/x-raw") {
        return std::nullopt;
    } else {
        mode.format = gst_structure_get_string(structure, "format");
        if (mode.format == nullptr || !isColourPicture(mode.format)) {
            return std::nullopt;
        }
    }
    const auto width = nearest(structure, "width", kLongSide);
    const auto height = nearest(structure, "height", kShortSide);
    if (!width || !height) {
        return std::nullopt;
    }
    mode.width = *width;
    mode.height = *height;
    if (const GValue* const rate = gst_structure_get_value(structure, "framerate")) {
        mode.rateIsWithinBounds = GST_VALUE_HOLDS_FRACTION_RANGE(rate) != FALSE;
        const std::unique_ptr<GstStructure, decltype(&gst_structure_free)> copy(
            gst_structure_copy(structure), gst_structure_free);
        gst_structure_fixate_field_nearest_fraction(copy.get(), "framerate", kWantedRate, 1);
        gst_structure_get_fraction(copy.get(), "framerate", &mode.rateNumerator,
                                   &mode.rateDenominator);
    }
    return mode;
}

CapsHandle capsOf(const Mode& mode) {
    CapsHandle caps(
        gst_caps_new_simple(mode.encoding == Encoding::jpeg ? "image/jpeg" : "video/x-raw", "width",
                            G_TYPE_INT, mode.width, "height", G_TYPE_INT, mode.height, nullptr));
    if (mode.format != nullptr) {
        gst_caps_set_simple(caps.get(), "format", G_TYPE_STRING, mode.format, nullptr);
    }
    if (mode.rateNumerator <= 0) {
        return caps;
    }
    CapsHandle atThatRate(gst_caps_copy(caps.get()));
    gst_caps_set_simple(atThatRate.get(), "framerate", GST_TYPE_FRACTION, mode.rateNumerator,
                        mode.rateDenominator, nullptr);
    // An input for a cable takes the signal's rate, and GStreamer 1.26 insists on telling it.
    if (mode.rateIsWithinBounds) {
        gst_caps_append(atThatRate.get(), caps.release());
    }
    return atThatRate;
}

}  // namespace

CapsHandle chooseFormat(const GstCaps* offered) {
    if (offered == nullptr || gst_caps_is_any(offered) != FALSE) {
        return nullptr;
    }
    const CapsHandle modes(gst_caps_normalize(gst_caps_copy(offered)));
    std::optional<Mode> best;
    for (guint index = 0; index < gst_caps_get_size(modes.get()); ++index) {
        // Memory of a graphics card cannot be read where the pictures are looked at.
        const GstCapsFeatures* const features = gst_caps_get_features(modes.get(), index);
        if (gst_caps_features_is_equal(features, GST_CAPS_FEATURES_MEMORY_SYSTEM_MEMORY) == FALSE) {
            continue;
        }
        const auto mode = modeOf(gst_caps_get_structure(modes.get(), index));
        if (mode && (!best || rank(*mode) < rank(*best))) {
            best = mode;
        }
    }
    return best ? capsOf(*best) : nullptr;
}

}  // namespace velmaro::gstreamer
