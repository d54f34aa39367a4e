#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "app/linux/LinuxPlatform.h"
#include "platform/Error.h"
#include "platform/HeadphoneMotion.h"
#include "platform/SourceOption.h"

namespace velmaro {

/// The options of all sources of headphone motion, in the order of the help.
[[nodiscard]] std::span<const SourceOption> motionSourceOptions();

/// The door to the headphones and what stands behind it.
struct HeadphoneMotionParts {
    /// Outlives the door that records it.
    std::unique_ptr<HeadphoneMotion> source;
    std::unique_ptr<HeadphoneMotion> door;
    /// Why something that was asked for cannot be had; the door is then one without headphones.
    std::optional<Error> error;
};

/// A recorded motion if there is one; otherwise, in order of choice, head trackers by HID, AirPods
/// and another tracker by UDP. The last only if asked for; AirPods at the address given, or, where
/// neither is asked for, those that are connected. Recorded into a file if asked for.
/// `endPlayback` is called when a file that plays once has ended.
[[nodiscard]] HeadphoneMotionParts makeHeadphoneMotion(const LinuxPlatformOptions& options,
                                                       std::function<void()> endPlayback);

}  // namespace velmaro
