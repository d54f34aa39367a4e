#include "app/linux/MotionSources.h"

#include <utility>
#include <vector>

#include "backends/motion/MotionSource.h"
#include "backends/replay/MotionRecorder.h"

namespace velmaro {

std::span<const SourceOption> motionSourceOptions() {
    static const std::vector<SourceOption> options = optionsOf(motionSources());
    return options;
}

Result<std::unique_ptr<HeadphoneMotion>> makeHeadphoneMotion(const Options& options,
                                                             Diagnostics& diagnostics,
                                                             const MotionEvents& events) {
    auto headphones =
        makeHeadphoneMotion(motionSources(), {.values = options.sourceValues,
                                              .diagnostics = diagnostics,
                                              .once = options.once,
                                              .onPlaybackEnded = events.playbackEnded});
    // A listing has no motion to record.
    if (!headphones || !options.recordMotion || options.listInputs) {
        return headphones;
    }
    return MotionRecorder::open(*options.recordMotion, std::move(*headphones), diagnostics,
                                events.recordingFailed);
}

}  // namespace velmaro
