#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace velmaro {

// Packets of the accessory protocol that AirPods speak, as public notes describe it. No AirPods
// were at hand: what they answer in fact is unproven.

/// The two of the headphones' motion services; which one streams depends on the model.
enum class AirPodsService : std::uint8_t { motion14 = 14, motion16 = 16 };

/// The first packet on a new channel.
[[nodiscard]] std::span<const std::uint8_t> airPodsHandshake();
/// Asks for notifications; without it nothing else is sent.
[[nodiscard]] std::span<const std::uint8_t> airPodsNotifications();
/// Asks for motion every 40 ms.
[[nodiscard]] std::span<const std::uint8_t> airPodsStart(AirPodsService service);
[[nodiscard]] std::span<const std::uint8_t> airPodsStop(AirPodsService service);

/// Whether a packet answers the handshake.
[[nodiscard]] bool isAirPodsHandshakeAnswer(std::span<const std::uint8_t> packet);

/// The raw orientation in a motion packet: three 16-bit counts that wrap around.
using AirPodsOrientation = std::array<std::uint16_t, 3>;

/// Nothing if the packet is not one of motion.
[[nodiscard]] std::optional<AirPodsOrientation> parseAirPodsMotion(
    std::span<const std::uint8_t> packet);

}  // namespace velmaro
