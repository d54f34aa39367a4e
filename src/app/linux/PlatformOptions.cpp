#include "app/linux/PlatformOptions.h"

namespace velmaro {

LinuxPlatformOptions platformOptions(const Options& options) {
    return {.cameraFiles = options.cameraFiles,
            .demo = options.demo,
            .once = options.once,
            .motionFile = options.motionFile,
            .motionUDPPort = options.motionUDPPort,
            .motionUDPAddress = options.motionUDPAddress,
            .airPodsAddress = options.airPodsAddress,
            // A listing has no motion to record.
            .recordMotion = options.listInputs ? std::nullopt : options.recordMotion,
            .logs = !options.listInputs};
}

}  // namespace velmaro
