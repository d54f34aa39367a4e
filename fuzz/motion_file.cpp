#include <string_view>

#include "Fuzz.h"
#include "backends/replay/MotionFile.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    const auto result =
        parseMotionFile({reinterpret_cast<const char*>(input.data()), input.size()});
    if (!result) {
        require(result.error().line > 0 && !result.error().message.empty());
        return;
    }
    const MotionTrack& track = *result;
    require(!track.empty());
    for (std::size_t i = 1; i < track.size(); ++i) {
        require(track[i].time > track[i - 1].time);
    }
    // What was read can be written and read again.
    const std::string again = std::string(motionFileBeginning()) + motionFileLine(track.front());
    require(parseMotionFile(again).has_value());
}
