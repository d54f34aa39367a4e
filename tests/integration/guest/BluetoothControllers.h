#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "backends/posix/FileDescriptor.h"

namespace velmaro::integration {

/// As on the wire, the least significant byte first.
using BluetoothAddress = std::array<std::uint8_t, 6>;

/// Two Bluetooth controllers within reach of each other that the kernel takes for real ones, ready
/// to be connected to and paired with, without anybody being asked. They go when this does.
class BluetoothControllers {
public:
    /// Throws std::runtime_error if they cannot be had.
    BluetoothControllers();
    ~BluetoothControllers();
    BluetoothControllers(const BluetoothControllers&) = delete;
    BluetoothControllers& operator=(const BluetoothControllers&) = delete;

    /// Of the controller that is not the first choice for a connection to it.
    [[nodiscard]] BluetoothAddress second() const { return second_; }

private:
    void setUp(std::uint16_t controller);
    /// What the kernel answers to a command of its management interface, without the status.
    std::vector<std::uint8_t> command(std::uint16_t code, std::uint16_t controller,
                                      const std::vector<std::uint8_t>& parameters);

    pid_t emulator_ = -1;
    FileDescriptor management_;
    BluetoothAddress second_{};
};

/// "XX:XX:XX:XX:XX:XX"
[[nodiscard]] std::string text(const BluetoothAddress& address);

}  // namespace velmaro::integration
