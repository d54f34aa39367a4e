#include "app/Startup.h"

#include <iostream>
#include <vector>

namespace velmaro {

void applySettings(const Options& options, ContentView& view) {
    view.oscManager.ipAddress = options.ipAddress;
    view.oscManager.port = options.port;
    view.oscManager.oscMessage = options.oscMessage;
    view.oscManager.frameRate = options.frameRate;
    view.tiltEnabled = options.tiltEnabled;
    view.quaternionOutput = options.quaternionOutput;
}

bool printInputs(const ContentView& view) {
    const std::vector<InputSource> inputs = view.availableInputs();
    for (const InputSource& input : inputs) {
        std::cout << input.id() << '\t' << input.label() << '\n';
    }
    std::cout.flush();
    return !inputs.empty();
}

}  // namespace velmaro
