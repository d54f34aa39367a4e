#include "backends/replay/MotionSource.h"

#include <array>
#include <utility>

#include "backends/replay/MotionFile.h"
#include "backends/replay/MotionReplay.h"

namespace velmaro {
namespace {

constexpr std::array kOptions{
    SourceOption{.name = "--motion-file",
                 .valueName = "FILE",
                 .description = "Replay recorded headphone motion as connected headphones",
                 .standsAlone = true,
                 .choosesHeadphones = true},
};

Result<std::unique_ptr<HeadphoneMotion>> make(const MotionSetup& setup) {
    auto track = readMotionFile(setup.value(kOptions[0].name, ""));
    if (!track) {
        return tl::unexpected(track.error());
    }
    return std::make_unique<MotionReplay>(
        std::move(*track), setup.once ? MotionReplay::Ending::once : MotionReplay::Ending::loop,
        setup.onPlaybackEnded);
}

}  // namespace

const MotionSource& replayMotionSource() {
    static constexpr MotionSource kSource{.options = kOptions, .make = make};
    return kSource;
}

}  // namespace velmaro
