#include "backends/udp/MotionPacket.h"

#include <bit>
#include <cmath>

namespace velmaro {
namespace {

constexpr std::size_t kYaw = 3;
constexpr std::size_t kPitch = 4;
constexpr std::size_t kRoll = 5;

double doubleAt(std::span<const std::uint8_t> packet, std::size_t index) {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof bits; ++i) {
        bits |= std::uint64_t{packet[index * sizeof bits + i]} << (8 * i);
    }
    return std::bit_cast<double>(bits);
}

}  // namespace

std::optional<CMQuaternion> parseMotionPacket(std::span<const std::uint8_t> packet,
                                              const AngleSigns& signs) {
    if (packet.size() != kMotionPacketSize) {
        return std::nullopt;
    }
    const double yaw = doubleAt(packet, kYaw);
    const double pitch = doubleAt(packet, kPitch);
    const double roll = doubleAt(packet, kRoll);
    if (!std::isfinite(yaw) || !std::isfinite(pitch) || !std::isfinite(roll)) {
        return std::nullopt;
    }
    // Whole turns, which some trackers count, would cost the sine its exactness.
    return attitudeFromAngles(std::remainder(signs.yaw * yaw, 360),
                              std::remainder(signs.pitch * pitch, 360),
                              std::remainder(signs.roll * roll, 360));
}

}  // namespace velmaro
