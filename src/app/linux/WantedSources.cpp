#include "app/linux/WantedSources.h"

#include <string_view>

namespace velmaro {
namespace {

bool namesFile(const Options& options) {
    return options.demo || !options.cameraFiles.empty();
}

/// The source stays the same, so what else there is need not be known.
WantedSources wantedInTerminal(const Options& options) {
    bool mayBeCamera = true;
    bool mayBeLive = !namesFile(options);
    bool mayBeHeadphones = mayBeLive;
    if (options.input) {
        const std::string_view input = *options.input;
        mayBeCamera = input.starts_with("camera_");
        mayBeLive = mayBeCamera && !input.starts_with("camera_file:") &&
                    !(options.demo && input == "camera_demo");
        mayBeHeadphones = !mayBeCamera;
    } else if (options.choosesHeadphones) {
        mayBeCamera = mayBeLive = false;
        mayBeHeadphones = true;
    }
    return {.cameraSearch = mayBeLive ? CameraSearch::awaitedPatiently : CameraSearch::none,
            .faces = mayBeCamera,
            .headphones = mayBeHeadphones};
}

/// What comes first can be shown without the cameras, which a person may pick later.
WantedSources wantedInWindow(const Options& options) {
    const bool isChosen = namesFile(options) || options.choosesHeadphones;
    return {.cameraSearch =
                isChosen && !options.input ? CameraSearch::listedLater : CameraSearch::awaited};
}

}  // namespace

WantedSources wantedSources(const Options& options) {
    if (options.listInputs) {
        return {.cameraSearch = CameraSearch::awaitedPatiently, .faces = false};
    }
    return options.program == Program::window ? wantedInWindow(options) : wantedInTerminal(options);
}

}  // namespace velmaro
