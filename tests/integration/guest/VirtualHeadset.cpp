#include "integration/guest/VirtualHeadset.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "integration/guest/Guest.h"

namespace velmaro::integration {
namespace {

constexpr int kL2CAP = 0;
constexpr int kBluetoothLevel = 274;
constexpr int kSecurityOption = 4;
constexpr std::uint8_t kMediumSecurity = 2;
constexpr std::uint16_t kAccessoryService = 0x1001;

struct ServiceAddress {
    std::uint16_t family;
    std::uint16_t service;
    BluetoothAddress device;
    std::uint16_t channel;
    std::uint8_t deviceType;
};

struct Security {
    std::uint8_t level;
    std::uint8_t keySize;
};

void check(bool succeeded, const char* what) {
    if (!succeeded) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

bool isReadable(int descriptor, std::chrono::milliseconds patience) {
    pollfd file{descriptor, POLLIN, 0};
    return ::poll(&file, 1, static_cast<int>(patience.count())) == 1;
}

}  // namespace

FileDescriptor connectService(const BluetoothAddress& controller, std::uint16_t service) {
    FileDescriptor channel(::socket(AF_BLUETOOTH, SOCK_SEQPACKET | SOCK_CLOEXEC, kL2CAP));
    check(channel.get() >= 0, "L2CAP");
    const ServiceAddress name{AF_BLUETOOTH, service, controller, 0, 0};
    check(::connect(channel.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0,
          "connect");
    return channel;
}

VirtualHeadset::VirtualHeadset(const BluetoothAddress& controller)
    : listener_(::socket(AF_BLUETOOTH, SOCK_SEQPACKET | SOCK_CLOEXEC, kL2CAP)) {
    check(listener_.get() >= 0, "L2CAP");
    const Security security{.level = kMediumSecurity, .keySize = 0};
    check(::setsockopt(listener_.get(), kBluetoothLevel, kSecurityOption, &security,
                       sizeof security) == 0,
          "security");
    const ServiceAddress name{AF_BLUETOOTH, kAccessoryService, controller, 0, 0};
    check(::bind(listener_.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0,
          "bind");
    check(::listen(listener_.get(), 1) == 0, "listen");
}

bool VirtualHeadset::accept() {
    if (!isReadable(listener_.get(), kPatience)) {
        return false;
    }
    channel_.emplace(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
    return channel_->get() >= 0;
}

void VirtualHeadset::send(const Bytes& packet) const {
    check(::send(channel_->get(), packet.data(), packet.size(), MSG_NOSIGNAL) ==
              static_cast<ssize_t>(packet.size()),
          "send");
}

VirtualHeadset::Bytes VirtualHeadset::next(std::chrono::milliseconds patience) const {
    if (!isReadable(channel_->get(), patience)) {
        return {};
    }
    Bytes packet(4096);
    const ssize_t size = ::recv(channel_->get(), packet.data(), packet.size(), 0);
    packet.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return packet;
}

bool VirtualHeadset::isSecure() const {
    Security security{};
    socklen_t size = sizeof security;
    check(::getsockopt(channel_->get(), kBluetoothLevel, kSecurityOption, &security, &size) == 0,
          "security");
    return security.level >= kMediumSecurity && security.keySize > 0;
}

}  // namespace velmaro::integration
