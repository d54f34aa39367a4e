#include "receivers/ReceiverNetwork.h"

#include <utility>

#include "receivers/FurtherReceivers.h"
#include "receivers/SentMessage.h"

namespace velmaro {
namespace {

/// The sender's connection to the first receiver, with the further ones behind it.
class ReceiverConnection : public UDPConnection {
public:
    ReceiverConnection(std::shared_ptr<UDPConnection> first,
                       std::shared_ptr<FurtherReceivers> further,
                       std::shared_ptr<const Output> output)
        : first_(std::move(first)), further_(std::move(further)), output_(std::move(output)) {}

    void setStateUpdateHandler(StateUpdateHandler handler) override {
        first_->setStateUpdateHandler(std::move(handler));
    }

    void start(DispatchQueue& queue) override {
        first_->start(queue);
        further_->start(queue);
    }

    [[nodiscard]] State state() const override { return first_->state(); }

    void send(std::span<const std::byte> content, const SendErrorHandler& onError) override {
        const std::optional<SentMessage> message = readMessage(content);
        if (!message) {
            first_->send(content, onError);
            return;
        }
        write(message->address, *message,
              [&](std::span<const std::byte> datagram) { first_->send(datagram, onError); });
        for (std::size_t i = 0; i < further_->count(); ++i) {
            const std::string_view own = further_->address(i);
            write(own.empty() ? message->address : own, *message,
                  [&](std::span<const std::byte> datagram) { further_->send(i, datagram); });
        }
    }

    void cancel() override {
        first_->cancel();
        further_->cancel();
    }

private:
    void write(std::string_view address, const SentMessage& message,
               const DatagramHandler& handler) const {
        const std::span values(message.values.data(), message.count);
        if (message.count == kAxes) {
            writeMessages(address, values.first<kAxes>(), output_->conversion, handler);
        } else {
            // A quaternion holds no roll, so that nothing can be made of it.
            writeMessage(address, values, handler);
        }
    }

    const std::shared_ptr<UDPConnection> first_;
    const std::shared_ptr<FurtherReceivers> further_;
    const std::shared_ptr<const Output> output_;
};

}  // namespace

ReceiverNetwork::ReceiverNetwork(Network& network, Diagnostics& diagnostics)
    : network_(network), diagnostics_(diagnostics), output_(std::make_shared<const Output>()) {}

ReceiverNetwork::~ReceiverNetwork() = default;

void ReceiverNetwork::setOutput(Output output) {
    const std::lock_guard lock(mutex_);
    output_ = std::make_shared<const Output>(std::move(output));
}

std::optional<Port> ReceiverNetwork::makePort(std::uint16_t rawValue) const {
    return network_.makePort(rawValue);
}

std::shared_ptr<UDPConnection> ReceiverNetwork::makeUDPConnection(const std::string& host,
                                                                  Port port) {
    const std::lock_guard lock(mutex_);
    if (output_->isPlain()) {
        return network_.makeUDPConnection(host, port);
    }
    // A new connection without a cancel before it is a second attempt at the first receiver, which
    // is nothing to the others.
    auto further = further_.lock();
    if (!further || further->isCancelled() || furtherOutput_ != output_) {
        further = std::make_shared<FurtherReceivers>(network_, diagnostics_, output_->further);
        further_ = further;
        furtherOutput_ = output_;
    }
    return std::make_shared<ReceiverConnection>(network_.makeUDPConnection(host, port),
                                                std::move(further), output_);
}

}  // namespace velmaro
