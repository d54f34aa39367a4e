#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "backends/motion/AngleSigns.h"
#include "platform/HeadphoneMotion.h"

namespace velmaro {

/// Six little-endian doubles: x, y and z, which are not used, then yaw, pitch and roll in degrees.
/// It is what opentrack sends as "UDP over network".
constexpr std::size_t kMotionPacketSize = 48;

/// The attitude in a packet, or nothing if it has another size or an angle is not finite.
[[nodiscard]] std::optional<CMQuaternion> parseMotionPacket(std::span<const std::uint8_t> packet,
                                                            const AngleSigns& signs = {});

}  // namespace velmaro
