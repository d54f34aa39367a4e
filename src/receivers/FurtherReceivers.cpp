#include "receivers/FurtherReceivers.h"

#include <atomic>
#include <utility>

namespace velmaro {
namespace {

/// Two seconds at the default rate: how long a failed connection is left alone, and how long one
/// must send without an error before the next error is news.
constexpr int kPatience = 64;

/// Tells of a receiver that gets nothing, once for as long as it stays so. Callbacks may come when
/// the connection is gone, so they share it.
class Trouble {
public:
    Trouble(Diagnostics& diagnostics, const Destination& destination)
        : diagnostics_(diagnostics),
          where_(destination.host + " port " + std::to_string(destination.port)) {}

    /// A datagram has been given to a connection that is ready. Any thread.
    void sent() { sinceError_.fetch_add(1, std::memory_order_relaxed); }

    /// Any thread.
    void failed(const Error& error, const char* advice) {
        if (sinceError_.exchange(0, std::memory_order_relaxed) >= kPatience) {
            diagnostics_.report(
                {.kind = Diagnostic::Kind::warning,
                 .subject = Diagnostic::Subject::receiver,
                 .text = "cannot send to " + where_ + " (" + error.description + ")",
                 .advice = advice});
        }
    }

private:
    Diagnostics& diagnostics_;
    const std::string where_;
    std::atomic<int> sinceError_ = kPatience;
};

}  // namespace

struct FurtherReceivers::Receiver {
    Destination destination;
    std::shared_ptr<Trouble> trouble;
    UDPConnection::SendErrorHandler onSendError;
    std::shared_ptr<UDPConnection> connection = nullptr;
    /// Datagrams that were not sent since the connection failed.
    int missed = 0;
};

FurtherReceivers::FurtherReceivers(Network& network, Diagnostics& diagnostics,
                                   std::vector<Destination> destinations)
    : network_(network), diagnostics_(diagnostics) {
    for (Destination& destination : destinations) {
        const auto trouble = std::make_shared<Trouble>(diagnostics_, destination);
        receivers_.push_back({.destination = std::move(destination),
                              .trouble = trouble,
                              .onSendError = [trouble](const Error& error) {
                                  trouble->failed(error, "start the receiver or correct --also");
                              }});
    }
}

FurtherReceivers::~FurtherReceivers() = default;

void FurtherReceivers::start(DispatchQueue& queue) {
    const std::lock_guard lock(mutex_);
    if (queue_ != nullptr) {
        return;
    }
    queue_ = &queue;
    for (Receiver& receiver : receivers_) {
        connect(receiver);
    }
}

std::size_t FurtherReceivers::count() const {
    return receivers_.size();
}

std::string_view FurtherReceivers::address(std::size_t index) const {
    return receivers_[index].destination.address;
}

void FurtherReceivers::connect(Receiver& receiver) {
    receiver.missed = 0;
    const auto port = network_.makePort(receiver.destination.port);
    if (!port) {
        return;
    }
    receiver.connection = network_.makeUDPConnection(receiver.destination.host, *port);
    receiver.connection->setStateUpdateHandler(
        [trouble = receiver.trouble](UDPConnection::State state,
                                     const std::optional<Error>& error) {
            if (state == UDPConnection::State::failed) {
                trouble->failed(error.value_or(Error{}), "correct the address given to --also");
            }
        });
    receiver.connection->start(*queue_);
}

void FurtherReceivers::send(std::size_t index, std::span<const std::byte> content) {
    const std::lock_guard lock(mutex_);
    Receiver& receiver = receivers_[index];
    if (isCancelled_ || !receiver.connection) {
        return;
    }
    if (receiver.connection->state() == UDPConnection::State::failed) {
        if (++receiver.missed < kPatience) {
            return;
        }
        connect(receiver);
    }
    if (receiver.connection->state() == UDPConnection::State::ready) {
        receiver.trouble->sent();
    }
    receiver.connection->send(content, receiver.onSendError);
}

void FurtherReceivers::cancel() {
    const std::lock_guard lock(mutex_);
    isCancelled_ = true;
    for (Receiver& receiver : receivers_) {
        if (receiver.connection) {
            receiver.connection->cancel();
        }
    }
}

bool FurtherReceivers::isCancelled() const {
    const std::lock_guard lock(mutex_);
    return isCancelled_;
}

}  // namespace velmaro
