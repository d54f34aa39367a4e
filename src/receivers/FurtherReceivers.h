#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Diagnostics.h"
#include "platform/Network.h"
#include "receivers/Destination.h"

namespace velmaro {

/// Receivers beside the sender's own, each with a connection that is made anew some datagrams after
/// it has failed.
class FurtherReceivers {
public:
    /// The two doors outlive this and the connections' last callbacks.
    FurtherReceivers(Network& network, Diagnostics& diagnostics,
                     std::vector<Destination> destinations);
    ~FurtherReceivers();

    /// Callbacks come on `queue` from now on. Any thread.
    void start(DispatchQueue& queue);

    [[nodiscard]] std::size_t count() const;
    /// The OSC address that the receiver wants; empty means the sender's.
    [[nodiscard]] std::string_view address(std::size_t index) const;
    /// Sends one datagram to one of them; never waits. One thread at a time.
    void send(std::size_t index, std::span<const std::byte> content);

    /// Closes all connections; nothing is sent from now on. Any thread.
    void cancel();
    [[nodiscard]] bool isCancelled() const;

private:
    struct Receiver;

    void connect(Receiver& receiver);

    Network& network_;
    Diagnostics& diagnostics_;
    /// A cancel may come while a sample is sent.
    mutable std::mutex mutex_;
    std::vector<Receiver> receivers_;
    DispatchQueue* queue_ = nullptr;
    bool isCancelled_ = false;
};

}  // namespace velmaro
