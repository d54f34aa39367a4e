#pragma once

#include <memory>
#include <optional>
#include <string>

#include "backends/net/HostLookups.h"
#include "platform/Network.h"
#include "platform/Telemetry.h"

namespace asio {
class io_context;
}

namespace velmaro {

/// UDP to one destination each. An address literal is ready when `start` returns; a host name is
/// resolved meanwhile, and its IPv4 addresses are tried before the others, since audio receivers
/// mostly listen there. Where nobody listens at one of several addresses, the next one is tried.
/// Broadcast addresses are allowed.
class AsioNetwork : public Network {
public:
    /// `telemetry`, if any, outlives every connection and is told of each datagram sent.
    explicit AsioNetwork(Telemetry* telemetry = nullptr, HostResolver resolver = resolveHostName);
    ~AsioNetwork() override;

    /// Refuses no number: what the system refuses shows as send errors.
    [[nodiscard]] std::optional<Port> makePort(std::uint16_t rawValue) const override;
    std::shared_ptr<UDPConnection> makeUDPConnection(const std::string& host, Port port) override;

private:
    /// Never run: making a socket and a strand needs one to exist, sending needs no events.
    /// Connections share it.
    const std::shared_ptr<asio::io_context> context_;
    const std::shared_ptr<HostLookups> lookups_;
    Telemetry* const telemetry_;
};

}  // namespace velmaro
