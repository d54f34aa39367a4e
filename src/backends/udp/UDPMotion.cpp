#include "backends/udp/UDPMotion.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "backends/udp/MotionPacket.h"

namespace velmaro {
namespace {

using Clock = std::chrono::steady_clock;

/// Packets taken in one go, so that a flood cannot keep the thread from its other duties.
constexpr int kMostAtOnce = 64;

tl::unexpected<Error> refusal(const UDPMotionOptions& options, const std::string& why) {
    return failure("cannot receive motion at " + options.address + " port " +
                   std::to_string(options.port) + ": " + why);
}

struct AddressList {
    ~AddressList() {
        if (first != nullptr) {
            ::freeaddrinfo(first);
        }
    }
    addrinfo* first = nullptr;
};

}  // namespace

Result<std::unique_ptr<UDPMotion>> UDPMotion::listen(const UDPMotionOptions& options) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_DGRAM;
    AddressList found;
    if (::getaddrinfo(options.address.c_str(), std::to_string(options.port).c_str(), &hints,
                      &found.first) != 0) {
        return refusal(options, "give an IP address of this machine");
    }
    const addrinfo& name = *found.first;
    FileDescriptor socket(
        ::socket(name.ai_family, name.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.get() < 0 || ::bind(socket.get(), name.ai_addr, name.ai_addrlen) != 0) {
        return refusal(options, errno == EADDRINUSE ? "another program listens there"
                                                    : std::generic_category().message(errno));
    }
    return std::unique_ptr<UDPMotion>(new UDPMotion(std::move(socket), options));
}

UDPMotion::UDPMotion(FileDescriptor socket, const UDPMotionOptions& options)
    : socket_(std::move(socket)), signs_(options.signs), lapse_(options.lapse) {}

std::uint16_t UDPMotion::port() const {
    sockaddr_storage name{};
    socklen_t size = sizeof name;
    ::getsockname(socket_.get(), reinterpret_cast<sockaddr*>(&name), &size);
    // The port stands at the same place in both versions.
    return ntohs(reinterpret_cast<const sockaddr_in&>(name).sin_port);
}

void UDPMotion::run(MotionThread& thread) {
    thread.notifyReady();
    bool isConnected = false;
    Clock::time_point lapsesAt;
    while (!thread.isEnding()) {
        std::array<pollfd, 1> files{{{socket_.get(), POLLIN, 0}}};
        std::optional<std::chrono::milliseconds> timeout;
        if (isConnected) {
            timeout = std::chrono::ceil<std::chrono::milliseconds>(lapsesAt - Clock::now());
        }
        thread.wait(files, timeout);
        if (files[0].revents != 0 && receive(thread)) {
            isConnected = true;
            lapsesAt = Clock::now() + lapse_;
        }
        if (isConnected && Clock::now() >= lapsesAt) {
            isConnected = false;
            thread.setAvailable(false);
        }
    }
}

bool UDPMotion::receive(MotionThread& thread) {
    bool any = false;
    for (int i = 0; i < kMostAtOnce; ++i) {
        // One byte more shows a packet that is too long.
        std::array<std::uint8_t, kMotionPacketSize + 1> bytes{};
        const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
        if (size < 0) {
            break;
        }
        const auto attitude =
            parseMotionPacket({bytes.data(), static_cast<std::size_t>(size)}, signs_);
        if (attitude) {
            any = true;
            thread.setAvailable(true);
            thread.deliver(*attitude);
        }
    }
    return any;
}

}  // namespace velmaro
