#include "backends/airpods/BluetoothChannel.h"

#include <bluetooth/bluetooth.h>
#include <bluetooth/l2cap.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <system_error>
#include <utility>

namespace velmaro {
namespace {

constexpr std::uint16_t kAccessoryService = 0x1001;
constexpr std::uint16_t kIncomingSize = 1691;

tl::unexpected<Error> lastError() {
    return failure(std::generic_category().message(errno));
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

Result<FileDescriptor> connectAccessoryChannel(const BluetoothAddress& address) {
    FileDescriptor channel(
        ::socket(AF_BLUETOOTH, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, BTPROTO_L2CAP));
    if (channel.get() < 0) {
        return lastError();
    }
    // The headphones refuse a link that is not encrypted, and packets may exceed the default size.
    const bt_security security{.level = BT_SECURITY_MEDIUM, .key_size = 0};
    l2cap_options options{};
    socklen_t size = sizeof options;
    if (::setsockopt(channel.get(), SOL_BLUETOOTH, BT_SECURITY, &security, sizeof security) != 0 ||
        ::getsockopt(channel.get(), SOL_L2CAP, L2CAP_OPTIONS, &options, &size) != 0) {
        return lastError();
    }
    options.imtu = kIncomingSize;
    if (::setsockopt(channel.get(), SOL_L2CAP, L2CAP_OPTIONS, &options, sizeof options) != 0) {
        return lastError();
    }
    sockaddr_l2 name{};
    name.l2_family = AF_BLUETOOTH;
    name.l2_psm = htobs(kAccessoryService);
    std::reverse_copy(address.begin(), address.end(), name.l2_bdaddr.b);
    if (::connect(channel.get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 &&
        errno != EINPROGRESS && errno != EAGAIN) {
        return lastError();
    }
    return channel;
}

}  // namespace velmaro
