#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "backends/control/ControlPacket.h"
#include "platform/Dispatch.h"
#include "platform/Result.h"

namespace velmaro {

/// Takes requests by OSC at a UDP port. Whoever can reach the port can recentre, and nothing else.
class ControlListener {
public:
    /// Binds `port` (0: any that is free) at `address`, an IP address of this machine, or tells why
    /// it cannot, in one line.
    static Result<std::unique_ptr<ControlListener>> listen(const std::string& address,
                                                           std::uint16_t port);

    /// On the queue's thread: no call follows.
    ~ControlListener();
    ControlListener(const ControlListener&) = delete;
    ControlListener& operator=(const ControlListener&) = delete;

    [[nodiscard]] std::uint16_t port() const;

    /// Calls `handler` on `queue` for each request from now on, and for those that have come since
    /// the port was bound. Once only.
    void start(DispatchQueue& queue, std::function<void(ControlRequest)> handler);

private:
    class Receiver;

    explicit ControlListener(std::unique_ptr<Receiver> receiver);

    const std::unique_ptr<Receiver> receiver_;
};

}  // namespace velmaro
