#include <string_view>
#include <variant>

#include "Fuzz.h"
#include "backends/replay/MotionFile.h"

void fuzz(std::span<const std::uint8_t> input) {
    using namespace velmaro;
    const auto result =
        parseMotionFile({reinterpret_cast<const char*>(input.data()), input.size()});
    if (const auto* const error = std::get_if<MotionFileError>(&result)) {
        require(error->line > 0 && !error->message.empty());
        return;
    }
    const auto& track = std::get<MotionTrack>(result);
    require(!track.empty());
    for (std::size_t i = 1; i < track.size(); ++i) {
        require(track[i].time > track[i - 1].time);
    }
    // What was read can be written and read again.
    const std::string again = std::string(motionFileBeginning()) + motionFileLine(track.front());
    require(std::holds_alternative<MotionTrack>(parseMotionFile(again)));
}
