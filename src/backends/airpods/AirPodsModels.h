#pragma once

#include <string_view>

namespace velmaro {

/// Whether a device that calls itself so is a model of AirPods with head tracking that is known to
/// this program. `modalias` is BlueZ's, as in "bluetooth:v004Cp2014d0100": the vendor, the product
/// and the release in hexadecimal digits.
[[nodiscard]] bool areHeadTrackingAirPods(std::string_view modalias);

}  // namespace velmaro
