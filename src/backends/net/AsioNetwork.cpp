#include "backends/net/AsioNetwork.h"

#include <asio/io_context.hpp>
#include <utility>

#include "backends/net/AsioConnection.h"

namespace velmaro {

AsioNetwork::AsioNetwork(Telemetry* telemetry, HostResolver resolver)
    : context_(std::make_shared<asio::io_context>()),
      lookups_(std::make_shared<HostLookups>(std::move(resolver))),
      telemetry_(telemetry) {}

AsioNetwork::~AsioNetwork() = default;

std::optional<Port> AsioNetwork::makePort(std::uint16_t rawValue) const {
    return Port{rawValue};
}

std::shared_ptr<UDPConnection> AsioNetwork::makeUDPConnection(const std::string& host, Port port) {
    const auto connection =
        std::make_shared<AsioConnection>(context_, host, port, lookups_, telemetry_);
    UDPConnection* const door = connection.get();
    // A thread that resolves may keep the connection longer than its owner does.
    return {door, [connection](UDPConnection*) { connection->release(); }};
}

}  // namespace velmaro
