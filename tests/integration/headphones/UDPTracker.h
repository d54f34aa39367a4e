#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>
#include <thread>

namespace velmaro::integration {

/// What a tracker sends: x, y, z, yaw, pitch and roll.
inline std::string sixDoubles(const std::array<double, 6>& values) {
    return {reinterpret_cast<const char*>(values.data()), sizeof values};
}

/// Another program on this machine: keeps sending a datagram, 100 times a second.
class UDPTracker {
public:
    UDPTracker(std::uint16_t port, const std::string& datagram)
        : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), thread_([this, port, datagram] {
              sockaddr_in name{};
              name.sin_family = AF_INET;
              name.sin_port = htons(port);
              name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
              while (!ended_) {
                  ::sendto(socket_, datagram.data(), datagram.size(), 0,
                           reinterpret_cast<const sockaddr*>(&name), sizeof name);
                  std::this_thread::sleep_for(std::chrono::milliseconds(10));
              }
          }) {}
    ~UDPTracker() {
        ended_ = true;
        thread_.join();
        ::close(socket_);
    }
    UDPTracker(const UDPTracker&) = delete;
    UDPTracker& operator=(const UDPTracker&) = delete;

private:
    int socket_;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

/// A port of the loopback that was free a moment ago.
inline std::uint16_t freePort() {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof name;
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&name), size) != 0 ||
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    ::close(socket);
    return ntohs(name.sin_port);
}

}  // namespace velmaro::integration
