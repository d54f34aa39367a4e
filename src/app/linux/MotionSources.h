#pragma once

#include <functional>
#include <memory>
#include <span>

#include "app/CommandLine.h"
#include "platform/Diagnostics.h"
#include "platform/HeadphoneMotion.h"
#include "platform/Result.h"
#include "platform/SourceOption.h"

namespace velmaro {

/// The options of all sources of headphone motion, in the order of the help.
[[nodiscard]] std::span<const SourceOption> motionSourceOptions();

/// What happens to the headphones without a person.
struct MotionEvents {
    /// A file that plays once has ended.
    std::function<void()> playbackEnded;
    /// The recording cannot go on, which was reported.
    std::function<void()> recordingFailed;
};

/// The headphones that the options ask for, recorded into a file if that is asked for too; or why
/// something of it cannot be had. The events are called on the main queue.
[[nodiscard]] Result<std::unique_ptr<HeadphoneMotion>> makeHeadphoneMotion(
    const Options& options, Diagnostics& diagnostics, const MotionEvents& events);

}  // namespace velmaro
