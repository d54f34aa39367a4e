#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/Diagnostics.h"
#include "platform/HeadphoneMotion.h"
#include "platform/Result.h"
#include "platform/SourceOption.h"

namespace velmaro {

/// What a source of motion is made with.
struct MotionSetup {
    /// What the command line gives for the options of the sources.
    const SourceValues& values;
    /// Outlives the source.
    Diagnostics& diagnostics;
    /// A recording plays once instead of looping.
    bool once = false;
    /// Called on the delivery queue after the last sample of a recording that plays once.
    std::function<void()> onPlaybackEnded = nullptr;

    /// What was given for the option `name`, or `otherwise`.
    [[nodiscard]] std::string value(const char* name, const char* otherwise) const;
};

/// One kind of headphones, as its folder declares it. To add one, write a folder with a
/// MotionSource.h and name it in src/backends/CMakeLists.txt.
struct MotionSource {
    /// What the source adds to the command line. The first of its options asks for it.
    std::span<const SourceOption> options;
    /// Whether it is looked for when the command line asks for none.
    bool findsItself = false;
    /// Makes the headphones, on the main thread, or says why they cannot be had. Values have passed
    /// the checks of their options. May wait a moment for headphones that are already there, so
    /// that they are among the first inputs.
    Result<std::unique_ptr<HeadphoneMotion>> (*make)(const MotionSetup& setup);
};

using MotionSources = std::span<const MotionSource* const>;

/// How long a source may wait for headphones that are already there.
constexpr std::chrono::milliseconds kMotionPatience{1000};

/// The sources of this program, in the order in which they are preferred; made by
/// cmake/MotionSources.cmake from the list in src/backends/CMakeLists.txt.
[[nodiscard]] MotionSources motionSources();

/// The options of all `sources`.
[[nodiscard]] std::vector<SourceOption> optionsOf(MotionSources sources);

/// The headphones that the command line asks for, whichever of them are there; where it asks for
/// none, those that find themselves. Or why one of them cannot be had.
[[nodiscard]] Result<std::unique_ptr<HeadphoneMotion>> makeHeadphoneMotion(
    MotionSources sources, const MotionSetup& setup);

}  // namespace velmaro
