#pragma once

#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <asio/strand.hpp>
#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "backends/net/HostLookups.h"
#include "backends/net/QueueExecutor.h"
#include "platform/Network.h"
#include "platform/Telemetry.h"

namespace velmaro {

/// A connected UDP socket. Once ready, sending takes no lock: it is one system call on the caller's
/// thread. Callbacks come one at a time and in order.
class AsioConnection : public UDPConnection,
                       public HostLookupClient,
                       public std::enable_shared_from_this<AsioConnection> {
public:
    AsioConnection(std::shared_ptr<asio::io_context> context, std::string host, Port port,
                   std::shared_ptr<HostLookups> lookups, Telemetry* telemetry);

    void setStateUpdateHandler(StateUpdateHandler handler) override;
    void start(DispatchQueue& queue) override;
    [[nodiscard]] State state() const override;
    void send(std::span<const std::byte> content, const SendErrorHandler& onError) override;
    void cancel() override;

    void hostResolved(const HostAddresses& addresses) override;

    /// The owner is gone: closes the socket. A resolving thread that holds this for a moment more
    /// does nothing with it, and so with none of the objects that it refers to.
    void release();

private:
    struct KeptDatagram {
        std::vector<std::byte> content;
        SendErrorHandler onError;
    };

    // With the mutex held:
    void connectToFirst();
    bool connectTo(const asio::ip::udp::endpoint& endpoint, asio::error_code& error);
    void connectToNext();
    void becomeReady();
    void close(State state, const Error& error);
    void enter(State state, const std::optional<Error>& error = std::nullopt);
    void keep(std::span<const std::byte> content, const SendErrorHandler& onError);
    void report(const SendErrorHandler& onError, const Error& error);
    /// On the sending thread too, which alone may use the socket then.
    void handleSendError(int code);

    /// On the sending thread when ready, else with the mutex held. Gives the error's number, or 0.
    [[nodiscard]] int transmit(std::span<const std::byte> content);

    const std::shared_ptr<asio::io_context> context_;
    const std::string host_;
    const Port port_;
    const std::shared_ptr<HostLookups> lookups_;
    Telemetry* const telemetry_;
    std::shared_ptr<const StateUpdateHandler> handler_;

    std::atomic<State> state_ = State::setup;
    /// Guards what follows, except that a sending thread that has seen `ready` reads the socket:
    /// from then on only that thread replaces it.
    std::mutex mutex_;
    int socket_ = -1;
    std::optional<asio::strand<QueueExecutor>> callbacks_;
    std::deque<KeptDatagram> kept_;
    /// Where the name leads to, and which of them the socket is connected to.
    std::vector<asio::ip::udp::endpoint> endpoints_;
    std::size_t current_ = 0;
    /// How many datagrams were refused while no two in a row were accepted.
    int refusals_ = 0;
    /// Why nothing can be sent any more.
    Error ending_;
    bool isReleased_ = false;

    /// The sending thread's: how many datagrams in a row were accepted, up to two.
    int accepted_ = 0;
};

}  // namespace velmaro
