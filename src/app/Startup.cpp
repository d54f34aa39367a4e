#include "app/Startup.h"

#include <iostream>

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
    for (const InputSource& input : view.availableInputs()) {
        std::cout << input.id() << '\t' << input.label() << '\n';
    }
    std::cout.flush();
    return std::cout.good();
}

}  // namespace velmaro
