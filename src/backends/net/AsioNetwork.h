#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "platform/Error.h"
#include "platform/Network.h"
#include "platform/Telemetry.h"

namespace asio {
class io_context;
}

namespace velmaro {

/// Finds the addresses of a host name, as numeric texts, or why there are none. It may block for
/// long, on a thread that nobody waits for: it must use nothing that the program's end destroys.
using HostResolver =
    std::function<std::variant<std::vector<std::string>, Error>(const std::string& host)>;

/// Asks the system: its hosts file, then its name servers.
[[nodiscard]] std::variant<std::vector<std::string>, Error> resolveHostName(
    const std::string& host);

/// UDP to one destination each. An address literal is ready when `start` returns; a host name is
/// resolved meanwhile, and its IPv4 addresses are tried before the others, since audio receivers
/// mostly listen there. Broadcast addresses are allowed.
class AsioNetwork : public Network {
public:
    /// `telemetry`, if any, outlives every connection and is told of each datagram sent.
    explicit AsioNetwork(Telemetry* telemetry = nullptr, HostResolver resolver = resolveHostName);
    ~AsioNetwork() override;

    /// Refuses no number: what the system refuses shows as send errors.
    [[nodiscard]] std::optional<Port> makePort(std::uint16_t rawValue) const override;
    std::shared_ptr<UDPConnection> makeUDPConnection(const std::string& host, Port port) override;

private:
    /// Never run: making a socket needs one to exist, sending needs no events. Connections share
    /// it.
    const std::shared_ptr<asio::io_context> context_;
    const HostResolver resolver_;
    Telemetry* const telemetry_;
};

}  // namespace velmaro
