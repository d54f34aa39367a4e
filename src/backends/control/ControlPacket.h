#pragma once

#include <cstddef>
#include <functional>
#include <span>

namespace velmaro {

/// What a control surface or a workstation asks for: a new zero pose, or the old one back.
enum class ControlRequest { setOffset, resetOffset };

/// The longest packet that is read.
inline constexpr std::size_t kLongestControlPacket = 4096;

/// Calls `handler` for each request in an OSC packet, in order: a message to /velmaro/set or
/// /velmaro/reset, or any such message in a bundle, whose time is not waited for. A message whose
/// first argument is zero or false is a button let go, and asks for nothing; neither does one
/// that holds a blob. Everything else, and what is no OSC, is ignored from there on. Any thread.
void readControlPacket(std::span<const char> packet,
                       const std::function<void(ControlRequest)>& handler);

}  // namespace velmaro
