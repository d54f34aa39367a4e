#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "Mailbox.h"
#include "UDPReceiver.h"
#include "backends/net/AsioNetwork.h"
#include "backends/queues/AsioDispatch.h"
#include "backends/queues/AsioMainQueue.h"

namespace velmaro {

inline std::ostream& operator<<(std::ostream& out, UDPConnection::State state) {
    constexpr const char* kNames[] = {"setup", "preparing", "ready", "failed", "cancelled"};
    return out << kNames[static_cast<int>(state)];
}

inline std::span<const std::byte> bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

/// Connections on real queues and real sockets; what they call back lands in mailboxes.
class NetworkTest : public testing::Test {
protected:
    using State = UDPConnection::State;

    struct Told {
        State state;
        std::string error;
        bool operator==(const Told&) const = default;
        friend std::ostream& operator<<(std::ostream& out, const Told& told) {
            return out << told.state << ' ' << told.error;
        }
    };

    DispatchQueue& queue() { return globalQueue; }

    std::shared_ptr<UDPConnection> connect(Network& network, const std::string& host,
                                           std::uint16_t port) {
        auto connection = network.makeUDPConnection(host, network.makePort(port).value());
        connection->setStateUpdateHandler([this](State state, const std::optional<Error>& error) {
            EXPECT_TRUE(queue().isCurrent());
            EXPECT_EQ(error.has_value(), state == State::failed);
            told->put({state, error.value_or(Error{}).description});
        });
        connection->start(queue());
        return connection;
    }

    void send(UDPConnection& connection, std::string_view content) {
        connection.send(bytes(content), [this, text = std::string(content)](const Error& error) {
            EXPECT_TRUE(queue().isCurrent());
            errors->put({text.substr(0, 20), error.description});
        });
    }

    using SendError = std::pair<std::string, std::string>;

    std::unique_ptr<Mailbox<Told>> told = std::make_unique<Mailbox<Told>>();
    std::unique_ptr<Mailbox<SendError>> errors = std::make_unique<Mailbox<SendError>>();
    AsioMainQueue mainQueue;
    std::optional<AsioDispatch> dispatch{mainQueue};
    // Its last callbacks may come while it is being destroyed.
    DispatchQueue& globalQueue = dispatch->globalQueue(QualityOfService::standard);
};

}  // namespace velmaro
