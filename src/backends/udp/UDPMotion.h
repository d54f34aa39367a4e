#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "backends/motion/AngleSigns.h"
#include "backends/motion/MotionThread.h"
#include "platform/Result.h"

namespace velmaro {

struct UDPMotionOptions {
    /// Where to listen: an IP address of this machine, version 4 or 6.
    std::string address = "127.0.0.1";
    /// 0 takes a free port.
    std::uint16_t port = 4242;
    AngleSigns signs;
    /// Silence after which the tracker counts as gone.
    std::chrono::milliseconds lapse = std::chrono::seconds(2);
};

/// Another tracker that sends its angles by UDP, see `parseMotionPacket`: connected while packets
/// come. Anybody who can reach the port can move the head, hence the loopback by default.
class UDPMotion : public MotionDriver {
public:
    /// Listens from now on, or says why it cannot.
    static Result<std::unique_ptr<UDPMotion>> listen(const UDPMotionOptions& options);

    [[nodiscard]] std::uint16_t port() const;

    void run(MotionThread& thread) override;

private:
    UDPMotion(FileDescriptor socket, const UDPMotionOptions& options);

    /// Delivers what has come; false if nothing of it was a packet.
    bool receive(MotionThread& thread);

    FileDescriptor socket_;
    AngleSigns signs_;
    std::chrono::milliseconds lapse_;
};

}  // namespace velmaro
