#include "app/ReceiverChoice.h"

#include <string>
#include <utility>

namespace velmaro {

ReceiverChoice::ReceiverChoice(ContentView& view, ReceiverNetwork& network, Output output)
    : view_(view), network_(network), output_(std::move(output)) {
    // Told before the change, and so before the connection is made.
    running_ = view_.isRunning.observe([this](bool running) {
        if (running && pending_ != nullptr) {
            apply(*std::exchange(pending_, nullptr));
        }
    });
}

void ReceiverChoice::choose(const Receiver& receiver) {
    chosen_ = &receiver;
    if (view_.isRunning.get()) {
        pending_ = &receiver;
    } else {
        apply(receiver);
    }
}

void ReceiverChoice::apply(const Receiver& receiver) {
    output_.conversion = receiver.conversion;
    network_.setOutput(output_);
    view_.oscManager.port = std::to_string(receiver.port);
    view_.oscManager.oscMessage = std::string(receiver.address);
    view_.quaternionOutput = false;
}

}  // namespace velmaro
