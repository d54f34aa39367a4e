#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/Diagnostics.h"
#include "platform/Network.h"
#include "receivers/Conversion.h"
#include "receivers/Destination.h"

namespace velmaro {

/// What becomes of a datagram of the sender: what it holds, and who else gets it.
struct Output {
    Conversion conversion = {};
    /// Further receivers, of the same values.
    std::vector<Destination> further = {};

    /// Everything is sent as it is, to the first receiver alone.
    [[nodiscard]] bool isPlain() const { return conversion == Conversion{} && further.empty(); }
};

class FurtherReceivers;

/// A network between the sender and the real one, on which the sender's datagrams are converted and
/// copied. It is the place for it since what comes here has passed the sender's rate limit, which
/// so counts a sample once, and since the sender knows nothing of it.
///
/// The first receiver's connection is the sender's, with its states and its lines. Further
/// receivers have connections of their own, and a diagnostic each when they cannot be reached; one
/// that is dead holds up none. They last until the sender cancels, through failures of the first.
class ReceiverNetwork : public Network {
public:
    /// Both outlive this, which outlives every connection.
    ReceiverNetwork(Network& network, Diagnostics& diagnostics);
    ~ReceiverNetwork() override;

    /// Counts whole from the next connection on, which is the next start of tracking. Any thread.
    void setOutput(Output output);

    [[nodiscard]] std::optional<Port> makePort(std::uint16_t rawValue) const override;
    /// The real network's own connection where the output is plain: nothing is inserted then.
    std::shared_ptr<UDPConnection> makeUDPConnection(const std::string& host, Port port) override;

private:
    Network& network_;
    Diagnostics& diagnostics_;
    std::mutex mutex_;
    std::shared_ptr<const Output> output_;
    /// Those of the latest connection, and what they were made for.
    std::weak_ptr<FurtherReceivers> further_;
    std::shared_ptr<const Output> furtherOutput_;
};

}  // namespace velmaro
