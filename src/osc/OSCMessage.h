#pragma once

#include <cstddef>
#include <memory_resource>
#include <span>
#include <string_view>
#include <vector>

namespace velmaro {

/// The bytes of one Open Sound Control 1.0 message: the address, a type tag "f" per value, and the
/// values as big-endian 32-bit floats, each bit pattern unchanged.
///
/// The address is written byte for byte, whether or not a receiver would accept it. It must be
/// 7-bit ASCII: any other byte ends the process, without a message.
///
/// The bytes are fixed: see docs/behaviour.md.
///
/// The result is allocated once, at its exact size, from `memory`. Any thread.
[[nodiscard]] std::pmr::vector<std::byte> createOSCMessage(
    std::string_view address, std::span<const float> values,
    std::pmr::memory_resource* memory = std::pmr::get_default_resource());

}  // namespace velmaro
