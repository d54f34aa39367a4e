#include "app/linux/PlatformOptions.h"

#include <string_view>

namespace velmaro {

namespace {

/// In a terminal the source stays the same, so what else there is need not be known.
LiveCameras liveCamerasInTerminal(const Options& options) {
    bool mayBeLive = !options.demo && options.cameraFiles.empty();
    if (options.input) {
        const std::string_view input = *options.input;
        mayBeLive = input.starts_with("camera_") && !input.starts_with("camera_file:") &&
                    !(options.demo && input == "camera_demo");
    }
    return mayBeLive ? LiveCameras::awaitedPatiently : LiveCameras::none;
}

/// A file that is the first source can be shown without the cameras, which a person may pick later.
LiveCameras liveCamerasInWindow(const Options& options) {
    const bool fileComesFirst = options.demo || !options.cameraFiles.empty();
    return fileComesFirst && !options.input ? LiveCameras::listedLater : LiveCameras::awaited;
}

LiveCameras liveCameras(Program program, const Options& options) {
    if (options.listInputs) {
        return LiveCameras::awaitedPatiently;
    }
    return program == Program::window ? liveCamerasInWindow(options)
                                      : liveCamerasInTerminal(options);
}

}  // namespace

LinuxPlatformOptions platformOptions(Program program, const Options& options) {
    return {.cameraFiles = options.cameraFiles,
            .demo = options.demo,
            .liveCameras = liveCameras(program, options),
            .once = options.once,
            .sourceValues = options.sourceValues,
            // A listing has no motion to record.
            .recordMotion = options.listInputs ? std::nullopt : options.recordMotion,
            .output = options.output,
            // A listing can be asked for beside a running program.
            .controlPort = options.listInputs ? std::nullopt : options.controlPort,
            .controlAddress = options.controlAddress,
            .programName = programName(program),
            .logs = !options.listInputs};
}

}  // namespace velmaro
