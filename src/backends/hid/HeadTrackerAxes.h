#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/Diagnostics.h"

namespace velmaro {

/// Radians about the axes right ear, nose and up.
using RotationVector = std::array<double, 3>;

/// Which component of what a device reports is the turn about each axis, and its sign: for firmware
/// that does not keep to the order right, nose, up.
struct HeadTrackerAxes {
    std::array<std::uint8_t, 3> from{0, 1, 2};
    std::array<double, 3> sign{1, 1, 1};

    bool operator==(const HeadTrackerAxes&) const = default;

    [[nodiscard]] RotationVector apply(const RotationVector& reported) const;

    /// From three components by name, each once and with a sign if negative: "x-zy" takes the turn
    /// about the nose from the device's z, reversed. Nothing if the text is something else.
    [[nodiscard]] static std::optional<HeadTrackerAxes> parse(std::string_view text);
};

/// The axes of a device by its Bluetooth or USB vendor and product. The environment variable
/// VELMARO_HEAD_TRACKER_AXES, in the form of `HeadTrackerAxes::parse`, comes before the table; a
/// mistake in it is reported and it is ignored.
[[nodiscard]] HeadTrackerAxes headTrackerAxes(std::uint32_t vendor, std::uint32_t product,
                                              Diagnostics& diagnostics);

}  // namespace velmaro
