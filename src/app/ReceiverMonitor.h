#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Network.h"

namespace velmaro {

/// Passes the sender's connection on to the network and notes what becomes of it, so that the
/// window can show it. Supposes one connection at a time, whose datagrams share one error handler.
class ReceiverMonitor final : public Network {
public:
    using Clock = std::chrono::steady_clock;

    enum class Trouble {
        none,
        /// There is no such host, or no way to it.
        notFound,
        /// Datagrams are refused, or do not leave.
        refused,
    };

    struct Status {
        /// Where the datagrams go now; nothing between stop and start.
        struct Target {
            std::string host;
            Port port;
            bool operator==(const Target&) const = default;
        };
        std::optional<Target> target;
        Trouble trouble = Trouble::none;
        /// What the system says about it.
        std::string reason;
    };

    /// `network` outlives the monitor and its connections.
    explicit ReceiverMonitor(Network& network, std::function<Clock::time_point()> now = Clock::now);
    ~ReceiverMonitor() override;

    /// As of now: a receiver counts as refusing when it has refused for a second, and until it has
    /// let three seconds pass without. Any thread.
    [[nodiscard]] Status status() const;

    [[nodiscard]] std::optional<Port> makePort(std::uint16_t rawValue) const override;
    std::shared_ptr<UDPConnection> makeUDPConnection(const std::string& host, Port port) override;

private:
    class Record;
    class Connection;

    Network& network_;
    std::shared_ptr<Record> record_;
};

}  // namespace velmaro
