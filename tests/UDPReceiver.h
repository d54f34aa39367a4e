#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>

namespace velmaro {

/// A real UDP socket that receives.
class UDPReceiver {
public:
    /// Listens on `address` (or on all, if empty) at `port`; 0 picks a free one. Throws
    /// std::system_error if the system refuses.
    explicit UDPReceiver(const std::string& address = "127.0.0.1", std::uint16_t port = 0)
        : isIPv6_(address.find(':') != std::string::npos),
          socket_(socket(isIPv6_ ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        if (socket_ < 0) {
            throwLastError();
        }
        sockaddr_storage name{};
        socklen_t size = 0;
        if (isIPv6_) {
            auto& name6 = reinterpret_cast<sockaddr_in6&>(name);
            name6.sin6_family = AF_INET6;
            name6.sin6_port = htons(port);
            inet_pton(AF_INET6, address.c_str(), &name6.sin6_addr);
            size = sizeof name6;
        } else {
            auto& name4 = reinterpret_cast<sockaddr_in&>(name);
            name4.sin_family = AF_INET;
            name4.sin_port = htons(port);
            inet_pton(AF_INET, address.empty() ? "0.0.0.0" : address.c_str(), &name4.sin_addr);
            size = sizeof name4;
        }
        if (bind(socket_, reinterpret_cast<sockaddr*>(&name), size) != 0) {
            const int error = errno;
            close(socket_);
            throw std::system_error(error, std::system_category());
        }
    }

    ~UDPReceiver() { close(socket_); }
    UDPReceiver(const UDPReceiver&) = delete;
    UDPReceiver& operator=(const UDPReceiver&) = delete;

    [[nodiscard]] std::uint16_t port() const {
        sockaddr_storage name{};
        socklen_t size = sizeof name;
        getsockname(socket_, reinterpret_cast<sockaddr*>(&name), &size);
        return ntohs(isIPv6_ ? reinterpret_cast<sockaddr_in6&>(name).sin6_port
                             : reinterpret_cast<sockaddr_in&>(name).sin_port);
    }

    /// The next datagram, or nothing if none came in time.
    std::optional<std::string> receive(
        std::chrono::milliseconds patience = std::chrono::seconds(5)) {
        pollfd waiting{socket_, POLLIN, 0};
        if (poll(&waiting, 1, static_cast<int>(patience.count())) <= 0) {
            return std::nullopt;
        }
        std::array<char, 65536> buffer;
        const ssize_t size = recv(socket_, buffer.data(), buffer.size(), 0);
        if (size < 0) {
            return std::nullopt;
        }
        return std::string(buffer.data(), static_cast<std::size_t>(size));
    }

private:
    [[noreturn]] static void throwLastError() {
        throw std::system_error(errno, std::system_category());
    }

    bool isIPv6_;
    int socket_;
};

}  // namespace velmaro
