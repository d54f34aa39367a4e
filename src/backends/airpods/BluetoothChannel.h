#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "backends/posix/FileDescriptor.h"
#include "platform/Result.h"

namespace velmaro {

/// The six bytes of an address, as they are written: the most significant first.
using BluetoothAddress = std::array<std::uint8_t, 6>;

/// From "XX:XX:XX:XX:XX:XX", hexadecimal in either case; nothing if it is not such a text.
[[nodiscard]] std::optional<BluetoothAddress> parseBluetoothAddress(std::string_view text);

/// A socket that is connecting to the accessory service of a paired device, not blocking: writable
/// once connected. Fails at once without Bluetooth.
[[nodiscard]] Result<FileDescriptor> connectAccessoryChannel(const BluetoothAddress& address);

}  // namespace velmaro
