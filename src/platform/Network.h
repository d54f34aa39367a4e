#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/Dispatch.h"
#include "platform/Error.h"

namespace velmaro {

/// A UDP port that the platform has accepted.
struct Port {
    std::uint16_t rawValue = 0;
    bool operator==(const Port&) const = default;
};

/// One UDP destination. Released without `cancel()`, a connection closes without a word.
class UDPConnection {
public:
    enum class State {
        setup,
        /// The host name is being resolved.
        preparing,
        ready,
        /// It could not be made, or its way into the network is gone. It sends no more; make a new
        /// connection instead.
        failed,
        cancelled,
    };

    /// Called once per new state on the queue given to `start`; the error is set for `failed`.
    using StateUpdateHandler = std::function<void(State, const std::optional<Error>&)>;

    /// Called with the error of a datagram that could not be sent, on the queue given to `start`.
    /// A datagram that was sent calls nothing, so that sending stays one system call.
    using SendErrorHandler = std::function<void(const Error&)>;

    virtual ~UDPConnection() = default;

    /// Set before `start`.
    virtual void setStateUpdateHandler(StateUpdateHandler handler) = 0;

    /// Begins to resolve and connect; returns at once. Any thread; once only.
    virtual void start(DispatchQueue& queue) = 0;

    /// The latest state, which its handler may not have been told yet. Any thread.
    [[nodiscard]] virtual State state() const = 0;

    /// Sends one datagram; never waits. Before `ready` the newest few datagrams are kept and go out
    /// in order when ready; those that they replace are dropped without a word. `content` is not
    /// used after the return. `onError` is called at most once, later. One thread at a time.
    virtual void send(std::span<const std::byte> content, const SendErrorHandler& onError) = 0;

    /// Closes the connection, a failed one too; kept datagrams fail. Its handler is told, once. Any
    /// thread; never waits.
    virtual void cancel() = 0;
};

/// The door to the network. It outlives every connection.
class Network {
public:
    virtual ~Network() = default;

    /// The port of that number, or nothing if the platform refuses the number.
    [[nodiscard]] virtual std::optional<Port> makePort(std::uint16_t rawValue) const = 0;

    /// A connection to an address literal or a host name, which is not validated here: a bad one
    /// fails after `start`. Any thread.
    virtual std::shared_ptr<UDPConnection> makeUDPConnection(const std::string& host,
                                                             Port port) = 0;
};

}  // namespace velmaro
