#include "app/Startup.h"

#include <iostream>
#include <string>

namespace velmaro {

void applySettings(const Options& options, ContentView& view) {
    view.oscManager.ipAddress = options.ipAddress;
    view.oscManager.port = options.port;
    view.oscManager.oscMessage = options.oscMessage;
    view.oscManager.frameRate = options.frameRate;
    view.tiltEnabled = options.tiltEnabled;
    view.quaternionOutput = options.quaternionOutput;
}

Options currentSettings(Options options, const ContentView& view, const ReceiverChoice& receiver) {
    options.ipAddress = view.oscManager.ipAddress.get();
    options.port = view.oscManager.port.get();
    options.oscMessage = view.oscManager.oscMessage.get();
    options.frameRate = view.oscManager.frameRate.get();
    options.tiltEnabled = view.tiltEnabled.get();
    if (const std::string& input = view.selectedInputId.get(); !input.empty()) {
        options.input = input;
    }
    if (const Receiver* const chosen = receiver.chosen()) {
        options.receiver = chosen->name;
        // A choice takes them back.
        options.flip.clear();
        if (receiver.isPending()) {
            options.port = std::to_string(chosen->port);
            options.oscMessage = chosen->address;
        }
    }
    return options;
}

bool printInputs(const ContentView& view) {
    for (const InputSource& input : view.availableInputs()) {
        std::cout << input.id() << '\t' << input.label() << '\n';
    }
    std::cout.flush();
    return std::cout.good();
}

}  // namespace velmaro
