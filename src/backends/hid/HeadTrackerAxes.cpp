#include "backends/hid/HeadTrackerAxes.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace velmaro {
namespace {

struct Entry {
    std::uint32_t vendor;
    std::uint32_t product;
    std::string_view axes;
};

/// Devices known to deviate, as their users found out with the environment variable; so far none
/// is known by its numbers.
constexpr std::array<Entry, 0> kDeviations{};

}  // namespace

RotationVector HeadTrackerAxes::apply(const RotationVector& reported) const {
    RotationVector result{};
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = sign[i] * reported[from[i]];
    }
    return result;
}

std::optional<HeadTrackerAxes> HeadTrackerAxes::parse(std::string_view text) {
    HeadTrackerAxes axes;
    std::array<bool, 3> taken{};
    for (std::size_t i = 0; i < axes.from.size(); ++i) {
        axes.sign[i] = text.starts_with('-') ? -1 : 1;
        if (text.starts_with('-') || text.starts_with('+')) {
            text.remove_prefix(1);
        }
        if (text.empty() || text[0] < 'x' || text[0] > 'z') {
            return std::nullopt;
        }
        axes.from[i] = static_cast<std::uint8_t>(text[0] - 'x');
        if (std::exchange(taken[axes.from[i]], true)) {
            return std::nullopt;
        }
        text.remove_prefix(1);
    }
    return text.empty() ? std::optional(axes) : std::nullopt;
}

HeadTrackerAxes headTrackerAxes(std::uint32_t vendor, std::uint32_t product,
                                Diagnostics& diagnostics) {
    if (const char* const text = std::getenv("VELMARO_HEAD_TRACKER_AXES")) {
        if (const auto axes = HeadTrackerAxes::parse(text)) {
            return *axes;
        }
        diagnostics.report(
            {.kind = Diagnostic::Kind::warning,
             .subject = Diagnostic::Subject::headphones,
             .text = "VELMARO_HEAD_TRACKER_AXES is ignored",
             .advice = "give x, y and z in the order right, nose, up, each with - if reversed, as "
                       "in x-zy"});
    }
    const auto* const found = std::find_if(
        kDeviations.begin(), kDeviations.end(),
        [&](const Entry& entry) { return entry.vendor == vendor && entry.product == product; });
    if (found != kDeviations.end()) {
        return HeadTrackerAxes::parse(found->axes).value_or(HeadTrackerAxes{});
    }
    return {};
}

}  // namespace velmaro
