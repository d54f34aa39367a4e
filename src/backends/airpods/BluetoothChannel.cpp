#include "backends/airpods/BluetoothChannel.h"

#include <sys/socket.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <charconv>
#include <utility>

namespace velmaro {
namespace {

// The kernel's interface to L2CAP, which no header of the kernel or of the C library publishes.

constexpr int kL2CAP = 0;
constexpr int kBluetoothLevel = 274;
constexpr int kSecurityOption = 4;
constexpr int kL2CAPLevel = 6;
constexpr int kL2CAPOptions = 1;

struct Address {
    std::uint16_t family;
    /// Little-endian, as is `channel`.
    std::uint16_t service;
    /// The least significant byte first.
    std::array<std::uint8_t, 6> device;
    std::uint16_t channel;
    std::uint8_t deviceType;
};
static_assert(sizeof(Address) == 14);

struct Security {
    std::uint8_t level;
    std::uint8_t keySize;
};

struct ChannelOptions {
    std::uint16_t outgoingSize;
    std::uint16_t incomingSize;
    std::uint16_t flushTimeout;
    std::uint8_t mode;
    std::uint8_t checksum;
    std::uint8_t mostTransmissions;
    std::uint16_t transmitWindow;
};

constexpr std::uint8_t kMediumSecurity = 2;
constexpr std::uint16_t kAccessoryService = 0x1001;
constexpr std::uint16_t kIncomingSize = 1691;

static_assert(std::endian::native == std::endian::little, "the numbers of an address would swap");

std::error_code lastError() {
    return {errno, std::generic_category()};
}

}  // namespace

std::optional<BluetoothAddress> parseBluetoothAddress(std::string_view text) {
    BluetoothAddress address{};
    if (text.size() != address.size() * 3 - 1) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < address.size(); ++i) {
        const std::string_view part = text.substr(i * 3, 2);
        const auto [end, error] =
            std::from_chars(part.data(), part.data() + part.size(), address[i], 16);
        if (error != std::errc() || end != part.data() + part.size() ||
            (i + 1 < address.size() && text[i * 3 + 2] != ':')) {
            return std::nullopt;
        }
    }
    return address;
}

std::variant<FileDescriptor, std::error_code> connectAccessoryChannel(
    const BluetoothAddress& address) {
    FileDescriptor channel(
        ::socket(AF_BLUETOOTH, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, kL2CAP));
    if (channel.get() < 0) {
        return lastError();
    }
    // The headphones refuse a link that is not encrypted, and packets may exceed the default size.
    const Security security{.level = kMediumSecurity, .keySize = 0};
    ChannelOptions options{};
    socklen_t size = sizeof options;
    if (::setsockopt(channel.get(), kBluetoothLevel, kSecurityOption, &security, sizeof security) !=
            0 ||
        ::getsockopt(channel.get(), kL2CAPLevel, kL2CAPOptions, &options, &size) != 0) {
        return lastError();
    }
    options.incomingSize = kIncomingSize;
    if (::setsockopt(channel.get(), kL2CAPLevel, kL2CAPOptions, &options, sizeof options) != 0) {
        return lastError();
    }
    Address name{};
    name.family = AF_BLUETOOTH;
    name.service = kAccessoryService;
    std::reverse_copy(address.begin(), address.end(), name.device.begin());
    if (::connect(channel.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 &&
        errno != EINPROGRESS && errno != EAGAIN) {
        return lastError();
    }
    return channel;
}

}  // namespace velmaro
