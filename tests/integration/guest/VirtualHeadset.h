#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "backends/posix/FileDescriptor.h"
#include "integration/guest/BluetoothControllers.h"

namespace velmaro::integration {

/// The other end of a Bluetooth link: the accessory service at one controller, for one connection
/// at a time. What it says is up to the test.
class VirtualHeadset {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// Listens at that controller, or at all if the address is zeros. Throws std::system_error.
    explicit VirtualHeadset(const BluetoothAddress& controller);

    /// Waits for a connection; false if none comes.
    bool accept();
    void hangUp() { channel_.reset(); }
    void send(const Bytes& packet) const;
    /// The next packet; empty if none comes within `patience` or the other end hung up.
    [[nodiscard]] Bytes next(std::chrono::milliseconds patience = std::chrono::seconds(20)) const;
    /// Whether the link is encrypted.
    [[nodiscard]] bool isSecure() const;

private:
    FileDescriptor listener_;
    std::optional<FileDescriptor> channel_;
};

/// A connection from another controller to a service at that one. Throws std::system_error.
FileDescriptor connectService(const BluetoothAddress& controller, std::uint16_t service);

}  // namespace velmaro::integration
