#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "backends/net/AsioNetwork.h"
#include "backends/queues/CallbackSequence.h"
#include "platform/Network.h"
#include "platform/Telemetry.h"

namespace velmaro {

/// A connected UDP socket. Once ready, sending takes no lock: it is one system call on the caller's
/// thread. Callbacks come one at a time and in order.
class AsioConnection : public UDPConnection, public std::enable_shared_from_this<AsioConnection> {
public:
    AsioConnection(std::shared_ptr<asio::io_context> context, std::string host, Port port,
                   HostResolver resolver, Telemetry* telemetry);

    void setStateUpdateHandler(StateUpdateHandler handler) override;
    void start(DispatchQueue& queue) override;
    [[nodiscard]] State state() const override;
    void send(std::span<const std::byte> content, const SendErrorHandler& onError) override;
    void cancel() override;

    /// The owner is gone: closes the socket. A resolving thread that still holds this does nothing
    /// more with it, and so with none of the objects that it refers to.
    void release();

private:
    struct KeptDatagram {
        std::vector<std::byte> content;
        SendErrorHandler onError;
    };

    void resolveOnAbandonableThread();
    void resolved(const std::variant<std::vector<std::string>, Error>& result);

    // With the mutex held:
    void connectToFirst(std::span<const asio::ip::udp::endpoint> endpoints);
    void becomeReady();
    void close(State state, const Error& error);
    void enter(State state, const std::optional<Error>& error = std::nullopt);
    void keep(std::span<const std::byte> content, const SendErrorHandler& onError);

    // On the sending thread when ready, else with the mutex held:
    void sendNow(std::span<const std::byte> content, const SendErrorHandler& onError);
    std::optional<Error> transmit(std::span<const std::byte> content);
    void report(const SendErrorHandler& onError, const Error& error);

    const std::shared_ptr<asio::io_context> context_;
    const std::string host_;
    const Port port_;
    const HostResolver resolver_;
    Telemetry* const telemetry_;
    std::shared_ptr<const StateUpdateHandler> handler_;

    std::atomic<State> state_ = State::setup;
    /// Guards what follows, except that a sending thread that has seen `ready` uses the socket and
    /// the callbacks: from then on they change only when nobody can send any more.
    std::mutex mutex_;
    int socket_ = -1;
    std::shared_ptr<CallbackSequence> callbacks_;
    std::deque<KeptDatagram> kept_;
    /// Why nothing can be sent any more.
    Error ending_;
    bool isReleased_ = false;
};

}  // namespace velmaro
