#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "receivers/Conversion.h"

namespace velmaro {

/// A datagram of the sender, read back.
struct SentMessage {
    /// Points into the datagram.
    std::string_view address;
    std::array<float, 4> values{};
    /// Three for angles, four for a quaternion.
    std::size_t count = 0;
};

/// Nothing if it is none of the sender's: not one message of three or four floats. Any thread.
[[nodiscard]] std::optional<SentMessage> readMessage(std::span<const std::byte> datagram);

/// Called with each datagram in turn, which is gone after the call.
using DatagramHandler = std::function<void(std::span<const std::byte>)>;

/// Gives `handler` the datagrams of one sample of angles for a receiver under `address`. In a
/// message for each axis, `yaw`, `pitch` or `roll` takes the place of a `ypr` at the address's end,
/// or is added to it. Any thread.
void writeMessages(std::string_view address, std::span<const float, kAxes> angles,
                   const Conversion& conversion, const DatagramHandler& handler);

/// The same values under another address.
void writeMessage(std::string_view address, std::span<const float> values,
                  const DatagramHandler& handler);

}  // namespace velmaro
